#pragma once
// What a host's form made in Designer (WNForm.ui) must hold once loaded, whether through
// QUiLoader and the plugin or compiled by uic: every property the form sets away from its
// default, and the texts the edits show for them (with "." as the decimal separator).

#include <QObject>
#include <QStringList>
#include <QVariant>

#include <vector>

namespace wn::test {

struct TFormValue {
    const char *Object;
    const char *Property;
    QVariant Expected;
};

inline std::vector<TFormValue> FormValues()
{
    return {
        {"SpinEditReal1", "FehlerMeldung", false},
        {"SpinEditReal1", "Increment", 0.25},
        {"SpinEditReal1", "Nachkomma", 3},
        {"SpinEditReal1", "MinValue", -5.0},
        {"SpinEditReal1", "MaxValue", 50.0},
        {"SpinEditReal1", "CheckMinMax", true},
        {"SpinEditReal1", "Value", 12.5},
        {"SpinEditReal1", "text", QStringLiteral("12.500")},
        {"FileListView1", "Filter", QStringLiteral("*.rlk;*.sgc")},
        {"FileListView1", "HideFileExt", true},
        {"FloatEdit1", "ShowErrorMsg", true},
        {"FloatEdit1", "Decimals", 2},
        {"FloatEdit1", "AllowNegativeValue", false},
        {"FloatEdit1", "NoneValue", -999.0},
        {"FloatEdit1", "NoneValueStr", QStringLiteral("-")},
        {"FloatEdit1", "Value", 3.25},
        {"FloatEdit1", "text", QStringLiteral("3.25")},
        {"Navigator1", "Hints",
         QStringList{QStringLiteral("Erster Satz"), QStringLiteral("Zurück springen")}},
        {"Navigator1", "ConfirmDelete", false},
        {"Navigator1", "TabStop", true},
        {"Navigator1", "width", 240},
        {"PlayButtons1", "TabStop", false},
        {"PlayButtons1", "Enabled", false},
        {"ItemNavigator1", "ItemsCount", 10},
        {"ItemNavigator1", "ItemIndex", 4},
        {"ItemNavigator1", "JumpCount", 3},
        {"ItemNavigator1", "OnlyAdd", true},
        {"ItemNavigator1", "InsertBehind", true},
        {"ItemNavigator1", "DeleteAll", true},
        {"FarbFeld1", "MitTransparent", true},
        {"FarbFeld1", "Ctl3D", false},
        {"FarbFeld1", "TabStop", false},
        {"FarbFeld1", "Language", 2},
        {"ValueGrid1", "ColCount", 4},
        {"ValueGrid1", "RowCount", 7},
        {"ValueGrid1", "FixedCols", 0},
        {"ValueGrid1", "DefaultColWidth", 60},
        {"ValueGrid1", "DefaultRowHeight", 18},
        {"ValueGrid1", "AutoColWidth", false},
        {"ValueGrid1", "SelectColor", 255u},
        {"ValueGrid1", "ShowHint", true},
        {"ValueGrid1", "Hint", QStringLiteral("Messwerte")},
        {"KVLogBook1", "DefaultColWidth", 260},
        {"KVLogBook1", "Ctl3D", false},
    };
}

// The property as the form holds it, or an error text when the object is missing.
inline QVariant FormValue(const QObject &form, const TFormValue &v, QString &error)
{
    const QObject *object = form.findChild<QObject *>(QLatin1String(v.Object));
    if (!object) {
        error = QStringLiteral("no object %1").arg(QLatin1String(v.Object));
        return {};
    }
    return object->property(v.Property);
}

} // namespace wn::test
