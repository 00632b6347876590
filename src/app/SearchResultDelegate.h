#pragma once

#include <QStyledItemDelegate>

namespace sonvale {

// Paints a search result's text with its file name in bold after the plain folder part, elided
// in the middle of the folder part first so that the file name stays readable. Main thread only.
class SearchResultDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

}  // namespace sonvale
