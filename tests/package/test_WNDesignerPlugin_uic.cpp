// The form compiled by uic into a host program: it builds, and the widgets hold the form's values.
#include "FormExpectations.h"
#include "framework/SysUtils.h"
#include "ui_WNForm.h"

#include <QApplication>

#include <cstdio>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    wn::FormatSettings().DecimalSeparator = QLatin1Char('.');
    QWidget form;
    Ui::WNForm ui;
    ui.setupUi(&form);

    int failures = 0;
    for (const wn::test::TFormValue &v : wn::test::FormValues()) {
        QString error;
        const QVariant actual = wn::test::FormValue(form, v, error);
        if (error.isEmpty() && actual == v.Expected)
            continue;
        ++failures;
        std::fprintf(stderr, "%s.%s: %s, expected %s\n", v.Object, v.Property,
                     qPrintable(error.isEmpty() ? actual.toString() : error),
                     qPrintable(v.Expected.toString()));
    }
    // uic declares the members with the package's own types.
    const bool typed = ui.Navigator1->ButtonWidth() > 0 && ui.ItemNavigator1->ItemIndex() == 4 &&
                       ui.ValueGrid1->ColCount() == 4 && ui.FarbFeld1->MitTransparent() &&
                       ui.KVLogBook1->DefaultColWidth() == 260;
    if (!typed)
        ++failures;
    return failures == 0 ? 0 : 1;
}
