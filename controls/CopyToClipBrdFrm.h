#pragma once
// TCopyToClipBoardForm: the small dialog in which a user chooses what a value grid copies to the
// clipboard. The chosen item's index is the copy mode: 0 whole grid with header, 1 whole grid
// without header, 2 current row, 3 current column, 4 current grid cell.

#include "wn_export.h"

#include <QDialog>

class QFrame;
class QGroupBox;
class QPushButton;
class QRadioButton;

namespace wn {

inline const QString SCopyToClipBoardCaption = QStringLiteral("Copy To ClipBoard");
inline const QString SCopyModeItems[] = {
    QStringLiteral("Whole grid with header"), QStringLiteral("Whole grid without header"),
    QStringLiteral("Current row"), QStringLiteral("Current column"), QStringLiteral("Current grid cell")};
inline const QString SCopyOKButton = QStringLiteral("&OK");
inline const QString SCopyCancelButton = QStringLiteral("&Cancel");

class WN_EXPORT TCopyToClipBoardForm : public QDialog
{
    Q_OBJECT

public:
    explicit TCopyToClipBoardForm(QWidget *parent = nullptr);

    // The checked item, 0 to 4; 0 when the form opens.
    int ItemIndex() const;
    void SetItemIndex(int value);

    QGroupBox *RadioGroup1;
    QRadioButton *Items[5];
    QFrame *Panel1;
    QPushButton *OKButton;
    QPushButton *CancelButton;
};

} // namespace wn
