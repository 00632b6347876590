#include "Preferences.h"

#include <QSettings>

#include <algorithm>
#include <cmath>

namespace sonvale {

namespace {

const QString organisation = QStringLiteral("Sonvale");
const QString application = QStringLiteral("Sonvale");

const QString keyAppearance = QStringLiteral("appearance");
const QString keyAlwaysEnqueue = QStringLiteral("alwaysEnqueue");
const QString keyAlwaysOnTop = QStringLiteral("alwaysOnTop");
const QString keyWinampKeys = QStringLiteral("winampKeys");
const QString keyTimeRightTotal = QStringLiteral("timeRightTotal");
const QString keyPlaybackMode = QStringLiteral("playbackMode");
const QString keyVolume = QStringLiteral("volume");
const QString keyCurrent = QStringLiteral("current");
const QString keyAbsolutePaths = QStringLiteral("UseAbsolutePathsForPlaylists");
const QString keyReplayGainMode = QStringLiteral("replayGainMode");
const QString keyReplayGainPreamp = QStringLiteral("replayGainPreamp");
const QString keyReplayGainPreventClipping = QStringLiteral("replayGainPreventClipping");
const QString groupLabels = QStringLiteral("labels");
const QString groupSeparators = QStringLiteral("separators");

// The store keeps text, so every typed read is a conversion that may fail.
std::optional<qint64> readInteger(const QSettings& store, const QString& key) {
    bool ok = false;
    const qint64 value = store.value(key).toLongLong(&ok);
    return ok ? std::optional<qint64>(value) : std::nullopt;
}

Appearance appearanceFromRaw(qint64 raw) {
    if (raw == qint64(Appearance::Light)) return Appearance::Light;
    if (raw == qint64(Appearance::Dark)) return Appearance::Dark;
    return Appearance::System;
}

float readVolume(const QSettings& store) {
    bool ok = false;
    const float value = store.value(keyVolume, 1.0f).toFloat(&ok);
    if (!ok || !std::isfinite(value)) return 1.0f;
    return std::clamp(value, 0.0f, 1.0f);
}

ReplayGainSettings readReplayGainSettings(const QSettings& store) {
    ReplayGainSettings settings;
    const auto mode = replayGainModeFromRaw(readInteger(store, keyReplayGainMode).value_or(0));
    settings.mode = mode.value_or(ReplayGainMode::Off);
    bool ok = false;
    const float preamp = store.value(keyReplayGainPreamp, 0.0f).toFloat(&ok);
    if (ok && std::isfinite(preamp)) {
        settings.preamp = std::clamp(preamp, ReplayGainSettings::kMinPreamp, ReplayGainSettings::kMaxPreamp);
    }
    settings.preventClipping = store.value(keyReplayGainPreventClipping, true).toBool();
    return settings;
}

void readSeparators(QSettings& store, Labels& labels) {
    store.beginGroup(groupSeparators);
    for (size_t i = 0; i < Labels::keys.size(); ++i) {
        const std::optional<qint64> raw = readInteger(store, QLatin1String(Labels::keys[i]));
        if (!raw) continue;
        if (std::optional<TagSeparator> separator = tagSeparatorFromRaw(*raw)) {
            labels.byKey(i).separator = *separator;
        }
    }
    store.endGroup();
}

void readTemplates(QSettings& store, Labels& labels) {
    store.beginGroup(groupLabels);
    for (size_t i = 0; i < Labels::keys.size(); ++i) {
        const QString key = QLatin1String(Labels::keys[i]);
        if (!store.contains(key)) continue;
        const QVariant value = store.value(key);
        // On disk an empty list becomes an invalid value and a one-element list a plain text.
        QStringList names;
        if (value.metaType() == QMetaType::fromType<QStringList>()) {
            names = value.toStringList();
        } else if (value.metaType() == QMetaType::fromType<QString>()) {
            names = QStringList(value.toString());
        } else if (value.isValid()) {
            continue;
        }
        if (std::optional<Tags> tags = labels.byKey(i).withNames(names)) labels.byKey(i) = *tags;
    }
    store.endGroup();
}

}  // namespace

Preferences::Preferences() {
    load();
}

void Preferences::load() {
    QSettings store(organisation, application);
    alwaysEnqueue = store.value(keyAlwaysEnqueue).toBool();
    alwaysOnTop = store.value(keyAlwaysOnTop).toBool();
    winampKeys = store.value(keyWinampKeys).toBool();
    timeRightTotal = store.value(keyTimeRightTotal).toBool();
    playbackMode = playbackModeFromRaw(readInteger(store, keyPlaybackMode).value_or(0))
                       .value_or(PlaybackMode::Normal);
    currentPlaylistItem = readInteger(store, keyCurrent).value_or(0);
    useAbsolutePathsForPlaylists = store.value(keyAbsolutePaths).toBool();
    appearance = appearanceFromRaw(readInteger(store, keyAppearance).value_or(0));
    volume = readVolume(store);
    replayGain = readReplayGainSettings(store);
    labels = Labels();
    readSeparators(store, labels);
    readTemplates(store, labels);
}

bool Preferences::save() const {
    QSettings store(organisation, application);
    store.setValue(keyAlwaysEnqueue, alwaysEnqueue);
    store.setValue(keyAlwaysOnTop, alwaysOnTop);
    store.setValue(keyWinampKeys, winampKeys);
    store.setValue(keyTimeRightTotal, timeRightTotal);
    store.setValue(keyAbsolutePaths, useAbsolutePathsForPlaylists);
    store.setValue(keyAppearance, int(appearance));
    store.setValue(keyPlaybackMode, int(playbackMode));
    store.setValue(keyVolume, volume);
    store.setValue(keyReplayGainMode, int(replayGain.mode));
    store.setValue(keyReplayGainPreamp, replayGain.preamp);
    store.setValue(keyReplayGainPreventClipping, replayGain.preventClipping);
    if (currentPlaylistItem) {
        store.setValue(keyCurrent, *currentPlaylistItem);
    } else {
        store.remove(keyCurrent);
    }
    store.beginGroup(groupLabels);
    for (size_t i = 0; i < Labels::keys.size(); ++i) {
        store.setValue(QLatin1String(Labels::keys[i]), labels.byKey(i).names());
    }
    store.endGroup();
    store.beginGroup(groupSeparators);
    for (size_t i = 0; i < Labels::keys.size(); ++i) {
        store.setValue(QLatin1String(Labels::keys[i]), int(labels.byKey(i).separator));
    }
    store.endGroup();
    store.sync();
    return store.status() == QSettings::NoError;
}

}  // namespace sonvale
