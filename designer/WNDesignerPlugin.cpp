#include "designer/WNDesignerPlugin.h"

#include "colours/KFarbArr.h"
#include "controls/FLView.h"
#include "controls/Floatedit.h"
#include "controls/SpinEdit.h"
#include "controls/ValueGrid.h"
#include "framework/Bitmaps.h"
#include "framework/ComponentState.h"
#include "logging/KVLogBook.h"
#include "navigators/NavItem.h"
#include "navigators/PlayNavi.h"
#include "navigators/navUnit.h"
#include "package/WNPack.h"

#include <QIcon>
#include <QPixmap>

namespace wn {

namespace {

// The picture Designer shows for a component the package has no palette picture for.
const char *const DefaultPicture = ":/designer/DESIGNER_DEFAULT.png";

template <typename T> QWidget *Make(QWidget *parent)
{
    return new T(parent);
}

// The visual components in palette order; the sizes are the ones a component has when it is
// first dropped on a form.
const TDesignerComponent Components[] = {
    {&TSpinEditReal::staticMetaObject, "controls/SpinEdit.h", "Edit for a real number with spin buttons",
     QSize(121, 21), &Make<TSpinEditReal>},
    {&TFarbFeld::staticMetaObject, "colours/KFarbArr.h",
     "Field showing a palette colour; a click opens the colour scale", QSize(50, 25), &Make<TFarbFeld>},
    {&TFloatEdit::staticMetaObject, "controls/Floatedit.h", "Edit for a real number that may have no value",
     QSize(121, 21), &Make<TFloatEdit>},
    {&TFileListView::staticMetaObject, "controls/FLView.h",
     "List of the files of one folder that match a filter, with icons and descriptions", QSize(320, 150),
     &Make<TFileListView>},
    {&TNavigator::staticMetaObject, "navigators/navUnit.h", "Button bar for moving through records",
     QSize(240, 25), &Make<TNavigator>},
    {&TValueGrid::staticMetaObject, "controls/ValueGrid.h",
     "Grid for entering the values of a table its owner keeps", QSize(320, 120), &Make<TValueGrid>},
    {&TPlayButtons::staticMetaObject, "navigators/PlayNavi.h", "Bar of media-player buttons for a replay",
     QSize(253, 24), &Make<TPlayButtons>},
    {&TItemNavigator::staticMetaObject, "navigators/NavItem.h", "Navigator bar over a counted list of items",
     QSize(240, 25), &Make<TItemNavigator>},
    {&TKVLogBook::staticMetaObject, "logging/KVLogBook.h",
     "Log book: the log events as lines coloured by kind", QSize(320, 120), &Make<TKVLogBook>},
};

QString ShortName(const QMetaObject *meta)
{
    const QString name = QString::fromLatin1(meta->className());
    return name.mid(name.lastIndexOf(QLatin1Char(':')) + 1);
}

} // namespace

TComponentPlugin::TComponentPlugin(const TDesignerComponent &component, QObject *parent)
    : QObject(parent), FComponent(component)
{}

QString TComponentPlugin::name() const
{
    return QString::fromLatin1(FComponent.MetaObject->className());
}

QString TComponentPlugin::group() const
{
    return QString::fromLatin1(PalettePage);
}

QString TComponentPlugin::toolTip() const
{
    return QString::fromLatin1(FComponent.ToolTip);
}

QString TComponentPlugin::whatsThis() const
{
    return toolTip();
}

QString TComponentPlugin::includeFile() const
{
    return QString::fromLatin1(FComponent.Header);
}

QIcon TComponentPlugin::icon() const
{
    QImage picture = LoadBitmap(ShortName(FComponent.MetaObject));
    if (picture.isNull())
        picture = QImage(QString::fromLatin1(DefaultPicture));
    // The bottom-left pixel is the picture's transparent colour.
    return QIcon(
        QPixmap::fromImage(WithTransparentColor(picture, picture.pixelColor(0, picture.height() - 1))));
}

QWidget *TComponentPlugin::createWidget(QWidget *parent)
{
    QWidget *widget = FComponent.Create(parent);
    if (FDesigning)
        dynamic_cast<TComponentState &>(*widget).SetDesigning(true);
    return widget;
}

void TComponentPlugin::initialize(QDesignerFormEditorInterface *core)
{
    FInitialized = true;
    FDesigning = core != nullptr;
}

QString TComponentPlugin::domXml() const
{
    // Named as the component's class without the T, numbered by Designer when taken.
    return QStringLiteral("<ui language=\"c++\">\n"
                          " <widget class=\"%1\" name=\"%2\">\n"
                          "  <property name=\"geometry\">\n"
                          "   <rect><x>0</x><y>0</y><width>%3</width><height>%4</height></rect>\n"
                          "  </property>\n"
                          " </widget>\n"
                          "</ui>\n")
        .arg(name(), ShortName(FComponent.MetaObject).mid(1))
        .arg(FComponent.DefaultSize.width())
        .arg(FComponent.DefaultSize.height());
}

TDesignerPlugin::TDesignerPlugin(QObject *parent) : QObject(parent)
{
    for (const TDesignerComponent &component : Components)
        FWidgets.append(new TComponentPlugin(component, this));
}

} // namespace wn
