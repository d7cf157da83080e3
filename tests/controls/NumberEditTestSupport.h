#pragma once
// The numeric edit tests' fixture: a hosted edit whose messages, beeps and clipboard are recorded,
// and the decimal separator set for a scope.

#include "framework/SysUtils.h"
#include "framework/UiServices.h"

#include "WidgetTestSupport.h"

#include <QLineEdit>
#include <QStringList>

namespace wn::test {

struct TSeparatorScope {
    QChar Saved = FormatSettings().DecimalSeparator;
    explicit TSeparatorScope(char separator) { FormatSettings().DecimalSeparator = QLatin1Char(separator); }
    ~TSeparatorScope() { FormatSettings().DecimalSeparator = Saved; }
};

template <typename T> struct TEditFixture {
    TSeparatorScope Point{'.'};
    TRecordingUiServices Ui;
    TUiServicesScope Scope{Ui};
    THostedControl<T> Host;
    T &Edit = *Host.Control;
    QLineEdit *Other = new QLineEdit(Host.Form.get()); // somewhere for the focus to go

    TEditFixture()
    {
        Other->move(250, 10);
        Other->show();
        QWidget::setTabOrder(Other, &Edit);
    }
    // The texts of the message boxes since the last call, all warnings with an OK button.
    QStringList Messages()
    {
        QStringList texts;
        for (const auto &call : Ui.CallsOf("MessageDlg")) {
            EXPECT_TRUE(call.Kind == mtWarning && call.Buttons == TMsgDlgButtons{mbOK});
            texts << call.Text;
        }
        Ui.Calls.clear();
        return texts;
    }
    void Type(const QString &keys)
    {
        Edit.clear();
        QTest::keyClicks(&Edit, keys);
    }
};

} // namespace wn::test
