#include "SearchResultDelegate.h"

#include "SearchResultsModel.h"

#include <QApplication>
#include <QPainter>

#include <algorithm>

namespace sonvale {

void SearchResultDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    const QString text = item.text;
    const qsizetype nameStart = index.data(SearchResultsModel::NameStartRole).toInt();
    // The background, selection and focus without the text, which is drawn in two fonts.
    item.text.clear();
    const QStyle* style = item.widget ? item.widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &item, painter, item.widget);

    const QRect area = style->subElementRect(QStyle::SE_ItemViewItemText, &item, item.widget).adjusted(3, 0, -3, 0);
    QFont bold = item.font;
    bold.setBold(true);
    const QFontMetrics plainMetrics(item.font);
    const QFontMetrics boldMetrics(bold);
    const QString name = boldMetrics.elidedText(text.mid(nameStart), Qt::ElideRight, area.width());
    const int nameWidth = boldMetrics.horizontalAdvance(name);
    const QString folder = plainMetrics.elidedText(text.left(nameStart), Qt::ElideMiddle, std::max(0, area.width() - nameWidth));

    painter->save();
    const bool selected = item.state & QStyle::State_Selected;
    painter->setPen(item.palette.color(item.state & QStyle::State_Active ? QPalette::Active : QPalette::Inactive,
                                       selected ? QPalette::HighlightedText : QPalette::Text));
    const int folderWidth = plainMetrics.horizontalAdvance(folder);
    painter->setFont(item.font);
    painter->drawText(QRect(area.left(), area.top(), folderWidth, area.height()), Qt::AlignLeft | Qt::AlignVCenter, folder);
    painter->setFont(bold);
    painter->drawText(QRect(area.left() + folderWidth, area.top(), area.width() - folderWidth, area.height()),
                      Qt::AlignLeft | Qt::AlignVCenter, name);
    painter->restore();
}

}  // namespace sonvale
