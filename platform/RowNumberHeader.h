#pragma once
// The vertical header of a grid that numbers its rows. Its width follows the
// widest row number; Qt's own header would measure the label of every one of
// up to 200 sections each time the model is reset, which dominates showing a
// grid of a thousand rows.
#include <QHeaderView>

class RowNumberHeader : public QHeaderView {
    Q_OBJECT
public:
    explicit RowNumberHeader(QWidget *parent = nullptr);
    QSize sizeHint() const override;
    // The width the row numbers need, regardless of the minimum width.
    int labelWidth() const;
};
