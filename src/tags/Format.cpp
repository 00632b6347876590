#include "Format.h"

#include "AudioInfo.h"

#include <QRegularExpression>

#include <limits>

namespace sonvale::Format {

std::optional<QString> normalizeTrackNumber(const QString& text) {
    const qsizetype slash = text.indexOf(QLatin1Char('/'));
    const QStringView piece = trimTagText(QStringView(text).left(slash < 0 ? text.size() : slash));
    if (piece.isEmpty()) return std::nullopt;
    for (QChar c : piece) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9')) return piece.toString();
    }
    bool ok = false;
    const qlonglong value = piece.toLongLong(&ok);
    if (!ok || value < 1) return std::nullopt;
    return QString::number(value);
}

QString trackNumberFromFileName(const QString& name) {
    static const QRegularExpression pattern(QStringLiteral("^([0-9]{1,3})[\\.\\- ]"));
    if (!pattern.isValid()) return {};
    const QRegularExpressionMatch match = pattern.match(name);
    return match.hasMatch() ? match.captured(1) : QString();
}

QString channelsDescription(qint64 count) {
    switch (count) {
    case 0: return QStringLiteral("None");
    case 1: return QStringLiteral("Mono");
    case 2: return QStringLiteral("Stereo");
    default: return QString::number(count) + QStringLiteral("CH");
    }
}

}  // namespace sonvale::Format
