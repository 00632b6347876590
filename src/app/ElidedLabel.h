#pragma once

#include <QLabel>

namespace sonvale {

// A one-line label that ends its text with "…" when it is too narrow, instead of widening the
// window; the whole text is its tooltip then.
class ElidedLabel : public QLabel {
    Q_OBJECT
public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    void setFullText(const QString& text);
    const QString& fullText() const { return fullText_; }

    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void elide();

    QString fullText_;
};

}  // namespace sonvale
