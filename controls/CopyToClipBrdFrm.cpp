#include "controls/CopyToClipBrdFrm.h"

#include "framework/UiServices.h"

#include <QFrame>
#include <QGroupBox>
#include <QGuiApplication>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QVBoxLayout>

namespace wn {

TCopyToClipBoardForm::TCopyToClipBoardForm(QWidget *parent) : QDialog(parent)
{
    setWindowTitle(SCopyToClipBoardCaption);
    setWindowFlags(Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint | Qt::WindowTitleHint |
                   Qt::WindowCloseButtonHint);
    setFixedSize(189, 150);
    // The form was laid out for the host's 8-point dialog font; larger text would not fit.
    QFont small = font();
    small.setPointSizeF(8);
    setFont(small);

    RadioGroup1 = new QGroupBox(this);
    RadioGroup1->setGeometry(0, 0, 189, 150 - 41);
    auto *items = new QVBoxLayout(RadioGroup1);
    items->setContentsMargins(6, 4, 4, 4);
    items->setSpacing(0);
    for (int i = 0; i < 5; ++i) {
        Items[i] = new QRadioButton(SCopyModeItems[i], RadioGroup1);
        items->addWidget(Items[i]);
    }
    Items[0]->setChecked(true);

    Panel1 = new QFrame(this);
    Panel1->setFrameStyle(QFrame::Panel | QFrame::Raised);
    Panel1->setGeometry(0, 150 - 41, 189, 41);
    OKButton = new QPushButton(SCopyOKButton, Panel1);
    OKButton->setGeometry(8, 8, 75, 25);
    OKButton->setDefault(true);
    CancelButton = new QPushButton(SCopyCancelButton, Panel1);
    CancelButton->setGeometry(104, 8, 75, 25);
    connect(OKButton, &QPushButton::clicked, this, [this] { done(mrOk); });
    connect(CancelButton, &QPushButton::clicked, this, [this] { done(mrCancel); });

    if (const QScreen *screen = QGuiApplication::primaryScreen())
        move(screen->availableGeometry().center() - rect().center());
}

int TCopyToClipBoardForm::ItemIndex() const
{
    for (int i = 0; i < 5; ++i)
        if (Items[i]->isChecked())
            return i;
    return -1;
}

void TCopyToClipBoardForm::SetItemIndex(int value)
{
    if (value >= 0 && value < 5)
        Items[value]->setChecked(true);
}

} // namespace wn
