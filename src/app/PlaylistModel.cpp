#include "PlaylistModel.h"

#include "LabelText.h"
#include "Player.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMimeData>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QUrl>

#include <algorithm>

namespace sonvale {

namespace {

constexpr int kDefaultPendingReloadMs = 250;
constexpr int kMarkSide = 16;
constexpr int kRightAligned = Qt::AlignRight | Qt::AlignVCenter;

// The now-playing mark, drawn rather than taken from the icon theme, which not every desktop
// has: a triangle while playing, two bars otherwise.
QPixmap drawMark(bool playing, const QColor& color) {
    const qreal ratio = qGuiApp->devicePixelRatio();
    QPixmap pixmap(QSize(kMarkSide, kMarkSide) * ratio);
    pixmap.setDevicePixelRatio(ratio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    if (playing) {
        const QPointF triangle[] = {{4.0, 3.0}, {13.0, 8.0}, {4.0, 13.0}};
        painter.drawPolygon(triangle, 3);
    } else {
        painter.drawRect(QRectF(4.0, 3.5, 3.0, 9.0));
        painter.drawRect(QRectF(9.0, 3.5, 3.0, 9.0));
    }
    return pixmap;
}

// The delegate paints a selected cell's icon in the Selected mode, over the highlight.
QIcon markIcon(bool playing, const QPalette& palette) {
    QIcon icon;
    icon.addPixmap(drawMark(playing, palette.color(QPalette::Text)), QIcon::Normal);
    icon.addPixmap(drawMark(playing, palette.color(QPalette::HighlightedText)), QIcon::Selected);
    return icon;
}

QList<int> distinctSorted(QList<int> rows) {
    std::sort(rows.begin(), rows.end());
    rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    return rows;
}

}  // namespace

PlaylistModel::PlaylistModel(Player& player, QObject* parent) : QAbstractTableModel(parent), player_(player) {
    currentFont_.setBold(true);
    pendingReloadTimer_.setSingleShot(true);
    pendingReloadTimer_.setInterval(kDefaultPendingReloadMs);
    connect(&pendingReloadTimer_, &QTimer::timeout, this, &PlaylistModel::repaintDirty);
    connect(&player_, &Player::playlistUpdated, this, &PlaylistModel::reload);
    connect(&player_, &Player::metaLoaded, this, &PlaylistModel::markDirty);
    connect(&player_, &Player::trackSetup, this, &PlaylistModel::refreshCurrent);
    connect(&player_, &Player::trackChanged, this, &PlaylistModel::refreshCurrent);
    connect(&player_, &Player::playbackStarted, this, &PlaylistModel::refreshCurrent);
    connect(&player_, &Player::playbackPaused, this, &PlaylistModel::refreshCurrent);
    connect(&player_, &Player::playbackStopped, this, &PlaylistModel::refreshCurrent);
    reload();
}

QString PlaylistModel::columnId(int column) {
    switch (column) {
    case Track: return QStringLiteral("ColumnTrack");
    case Title: return QStringLiteral("ColumnTitle");
    case Artist: return QStringLiteral("ColumnArtist");
    case Album: return QStringLiteral("ColumnAlbum");
    case Duration: return QStringLiteral("ColumnDuration");
    default: return {};
    }
}

PlaylistItemRef PlaylistModel::itemAt(int row) const {
    return row >= 0 && row < items_.size() ? items_[row] : nullptr;
}

std::optional<int> PlaylistModel::rowOf(const PlaylistItemRef& item) const {
    const auto found = rows_.constFind(item.get());
    if (found == rows_.cend()) return std::nullopt;
    return *found;
}

QList<PlaylistItemRef> PlaylistModel::itemsAt(QList<int> rows) const {
    QList<PlaylistItemRef> out;
    for (int row : distinctSorted(std::move(rows))) {
        if (row >= 0 && row < items_.size()) out.append(items_[row]);
    }
    return out;
}

QList<PlaylistItemRef> PlaylistModel::itemsAt(const QModelIndexList& indexes) const {
    QList<int> rows;
    rows.reserve(indexes.size());
    for (const QModelIndex& index : indexes) {
        if (index.isValid() && index.model() == this) rows.append(index.row());
    }
    return itemsAt(std::move(rows));
}

int PlaylistModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(items_.size());
}

int PlaylistModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kColumnCount;
}

QVariant PlaylistModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) return {};
    const PlaylistItem& item = *items_[index.row()];
    const bool current = shownCurrent_.get() == &item;
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole: return displayText(item, index.column());
    case Qt::ToolTipRole: return item.track()->path;
    case Qt::TextAlignmentRole:
        return index.column() == Track || index.column() == Duration ? QVariant(kRightAligned) : QVariant();
    case Qt::FontRole: return current ? QVariant(currentFont_) : QVariant();
    case Qt::DecorationRole: return current && index.column() == Track ? QVariant(currentMark()) : QVariant();
    default: return {};
    }
}

QVariant PlaylistModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 || section >= kColumnCount) {
        return QAbstractTableModel::headerData(section, orientation, role);
    }
    if (role == Qt::TextAlignmentRole) {
        return section == Track || section == Duration ? QVariant(kRightAligned) : QVariant();
    }
    if (role != Qt::DisplayRole) return {};
    switch (section) {
    case Track: return tr("#");
    case Title: return tr("Title");
    case Artist: return tr("Artist");
    case Album: return tr("Album");
    default: return tr("Time");
    }
}

Qt::ItemFlags PlaylistModel::flags(const QModelIndex& index) const {
    // Only the root accepts drops, so a drop over a row falls above or below it.
    if (!index.isValid()) return Qt::ItemIsDropEnabled;
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren;
}

bool PlaylistModel::removeRows(int, int, const QModelIndex&) {
    // After a drag that ended in a move, the view removes the dragged rows from its model. The
    // player has moved those items already, so taking them out here would lose them.
    return false;
}

QStringList PlaylistModel::mimeTypes() const {
    return {QLatin1String(kRowIndexesMimeType), QStringLiteral("text/uri-list")};
}

QMimeData* PlaylistModel::mimeData(const QModelIndexList& indexes) const {
    QList<int> rows;
    for (const QModelIndex& index : indexes) {
        if (checkIndex(index, CheckIndexOption::IndexIsValid)) rows.append(index.row());
    }
    rows = distinctSorted(std::move(rows));
    if (rows.isEmpty()) return nullptr;
    // The process and the model travel with the rows: rows mean nothing to another model, and
    // nothing after the model's next reset.
    QByteArray payload;
    QDataStream out(&payload, QIODevice::WriteOnly);
    out << QCoreApplication::applicationPid() << quintptr(this) << generation_ << rows;
    QList<QUrl> urls;
    urls.reserve(rows.size());
    for (int row : rows) urls.append(QUrl::fromLocalFile(items_[row]->track()->path));
    auto* data = new QMimeData;
    data->setData(QLatin1String(kRowIndexesMimeType), payload);
    data->setUrls(urls);
    return data;
}

Qt::DropActions PlaylistModel::supportedDropActions() const { return Qt::CopyAction | Qt::MoveAction; }

// Copy only: a file manager offered a move would take the user's files away from their folder.
// Rows dropped back on the table move all the same.
Qt::DropActions PlaylistModel::supportedDragActions() const { return Qt::CopyAction; }

bool PlaylistModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int,
                                 const QModelIndex& parent) {
    if (!data || action == Qt::IgnoreAction) return false;
    // Rows move whatever the action: a copy would put one item in the playlist twice.
    if (const std::optional<QList<int>> rows = ownRows(data)) {
        const QList<PlaylistItemRef> items = itemsAt(*rows);
        if (items.isEmpty()) return false;
        const int before = parent.isValid() ? parent.row() : row < 0 ? rowCount() : row;
        player_.moveItems(items, before);
        return true;
    }
    QStringList paths;
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile()) paths.append(url.toLocalFile());
    }
    if (paths.isEmpty()) return false;
    emit pathsDropped(paths);
    return true;
}

void PlaylistModel::reload() {
    beginResetModel();
    // Shares the player's list; the copy happens when the player next changes it.
    items_ = player_.playlist().items;
    rows_.clear();
    rows_.reserve(items_.size());
    for (int row = 0; row < items_.size(); ++row) rows_.insert(items_[row].get(), row);
    ++generation_;
    pendingReloadTimer_.stop();
    dirtyFirst_ = dirtyLast_ = -1;
    shownCurrent_ = player_.current();
    shownPlaying_ = player_.isPlaying();
    endResetModel();
}

void PlaylistModel::refreshCurrent() {
    const PlaylistItemRef former = std::exchange(shownCurrent_, player_.current());
    shownPlaying_ = player_.isPlaying();
    if (const std::optional<int> row = rowOf(former)) emitRowChanged(*row);
    if (shownCurrent_ == former) return;
    if (const std::optional<int> row = rowOf(shownCurrent_)) emitRowChanged(*row);
}

void PlaylistModel::markDirty(const PlaylistItemRef& item) {
    const std::optional<int> row = rowOf(item);
    if (!row) return;
    dirtyFirst_ = dirtyFirst_ < 0 ? *row : std::min(dirtyFirst_, *row);
    dirtyLast_ = std::max(dirtyLast_, *row);
    if (!pendingReloadTimer_.isActive()) pendingReloadTimer_.start();
}

void PlaylistModel::repaintDirty() {
    if (dirtyFirst_ < 0) return;
    emit dataChanged(index(dirtyFirst_, 0), index(dirtyLast_, kColumnCount - 1));
    dirtyFirst_ = dirtyLast_ = -1;
}

void PlaylistModel::emitRowChanged(int row) {
    emit dataChanged(index(row, 0), index(row, kColumnCount - 1), {Qt::FontRole, Qt::DecorationRole});
}

QVariant PlaylistModel::displayText(const PlaylistItem& item, int column) const {
    const sonvale::Track& track = *item.track();
    switch (column) {
    case Track: return track.track;
    case Title: return track.title.isEmpty() ? QFileInfo(track.path).completeBaseName() : track.title;
    case Artist: return track.artist;
    case Album: return track.album;
    case Duration: return track.duration > 0 ? formatDuration(false, track.duration) : QString();
    default: return {};
    }
}

QIcon PlaylistModel::currentMark() const {
    const QPalette palette = QGuiApplication::palette();
    if (palette.cacheKey() != markPalette_) {
        markPalette_ = palette.cacheKey();
        playingMark_ = markIcon(true, palette);
        pausedMark_ = markIcon(false, palette);
    }
    return shownPlaying_ ? playingMark_ : pausedMark_;
}

std::optional<QList<int>> PlaylistModel::ownRows(const QMimeData* data) const {
    const QLatin1String type(kRowIndexesMimeType);
    if (!data->hasFormat(type)) return std::nullopt;
    QDataStream in(data->data(type));
    qint64 process = 0;
    quintptr model = 0;
    quint64 generation = 0;
    QList<int> rows;
    in >> process >> model >> generation >> rows;
    if (in.status() != QDataStream::Ok || process != QCoreApplication::applicationPid() || model != quintptr(this) ||
        generation != generation_) {
        return std::nullopt;
    }
    return rows;
}

}  // namespace sonvale
