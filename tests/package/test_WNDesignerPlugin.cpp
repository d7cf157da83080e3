// The Qt Designer plugin as Designer and a host's form loader use it: loaded from the build's
// plugin folder, it offers the palette's visual components with their pictures; widgets made for
// Designer are designing and do nothing when clicked; a form made in Designer loads through
// QUiLoader with every value it sets, into widgets that work.

#include "FormExpectations.h"
#include "WidgetTestSupport.h"
#include "colours/FarbArr.h"
#include "colours/KFarbArr.h"
#include "framework/Bitmaps.h"
#include "framework/ComponentState.h"
#include "framework/SysUtils.h"
#include "logging/KVLogBook.h"
#include "navigators/navUnit.h"
#include "package/WNPack.h"

#include <QFile>
#include <QPluginLoader>
#include <QUiLoader>
#include <QtDesigner/QDesignerFormEditorInterface>
#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

using namespace wn;

namespace {

QList<QDesignerCustomWidgetInterface *> PluginWidgets()
{
    static QPluginLoader loader(QStringLiteral(WN_DESIGNER_PLUGIN));
    auto *collection = qobject_cast<QDesignerCustomWidgetCollectionInterface *>(loader.instance());
    EXPECT_NE(collection, nullptr) << qPrintable(loader.errorString());
    return collection ? collection->customWidgets() : QList<QDesignerCustomWidgetInterface *>();
}

// Designer's view of the plugin while a test runs; a form loader's again afterwards.
class DesignerPluginTest : public ::testing::Test
{
protected:
    void SetUp() override { Widgets = PluginWidgets(); }
    void TearDown() override
    {
        for (QDesignerCustomWidgetInterface *w : Widgets)
            w->initialize(nullptr);
    }
    void OpenInDesigner()
    {
        for (QDesignerCustomWidgetInterface *w : Widgets)
            w->initialize(&Core);
    }

    QList<QDesignerCustomWidgetInterface *> Widgets;
    QDesignerFormEditorInterface Core;
};

} // namespace

TEST_F(DesignerPluginTest, OffersEveryVisualComponentOfThePaletteWithItsPicture)
{
    struct Expected {
        QString Name;
        QString Header;
        QString Picture; // the palette picture, or the designer's default
    };
    const QString none = QStringLiteral(":/designer/DESIGNER_DEFAULT.png");
    const std::vector<Expected> expected = {
        {"wn::TSpinEditReal", "controls/SpinEdit.h", ":/bitmaps/TSPINEDITREAL.png"},
        {"wn::TFarbFeld", "colours/KFarbArr.h", ":/bitmaps/TFARBFELD.png"},
        {"wn::TFloatEdit", "controls/Floatedit.h", ":/bitmaps/TFLOATEDIT.png"},
        {"wn::TFileListView", "controls/FLView.h", ":/bitmaps/TFILELISTVIEW.png"},
        {"wn::TNavigator", "navigators/navUnit.h", ":/bitmaps/TNAVIGATOR.png"},
        {"wn::TValueGrid", "controls/ValueGrid.h", ":/bitmaps/TVALUEGRID.png"},
        {"wn::TPlayButtons", "navigators/PlayNavi.h", none},
        {"wn::TItemNavigator", "navigators/NavItem.h", none},
        {"wn::TKVLogBook", "logging/KVLogBook.h", none},
    };
    ASSERT_EQ(Widgets.size(), qsizetype(expected.size()));

    // The visual part of the palette, in its order.
    QStringList visual;
    for (const TRegisteredComponent &c : RegisteredComponents())
        if (c.MetaObject->inherits(&QWidget::staticMetaObject))
            visual << QString::fromLatin1(c.MetaObject->className());

    for (std::size_t i = 0; i < expected.size(); ++i) {
        QDesignerCustomWidgetInterface *w = Widgets[qsizetype(i)];
        const Expected &e = expected[i];
        EXPECT_EQ(w->name(), e.Name);
        EXPECT_EQ(visual.value(qsizetype(i)), e.Name);
        EXPECT_EQ(w->group(), QStringLiteral("W+N")) << qPrintable(e.Name);
        EXPECT_EQ(w->includeFile(), e.Header);
        EXPECT_TRUE(QFile::exists(QStringLiteral(WN_SOURCE_DIR "/") + e.Header)) << qPrintable(e.Header);
        EXPECT_FALSE(w->toolTip().isEmpty()) << qPrintable(e.Name);
        EXPECT_FALSE(w->isContainer());
        EXPECT_TRUE(w->domXml().contains(QStringLiteral("class=\"%1\"").arg(e.Name))) << qPrintable(e.Name);

        // The picture, 24 x 24, with its bottom-left colour (olive) transparent.
        const QImage icon = w->icon().pixmap(24, 24).toImage().convertToFormat(QImage::Format_ARGB32);
        const QImage picture = QImage(e.Picture).convertToFormat(QImage::Format_ARGB32);
        ASSERT_EQ(picture.size(), QSize(24, 24)) << qPrintable(e.Picture);
        ASSERT_EQ(icon.size(), QSize(24, 24)) << qPrintable(e.Name);
        int transparent = 0, differing = 0;
        for (int y = 0; y < 24; ++y)
            for (int x = 0; x < 24; ++x) {
                const bool olive = picture.pixel(x, y) == qRgb(128, 128, 0);
                transparent += olive;
                differing += olive ? qAlpha(icon.pixel(x, y)) != 0 : icon.pixel(x, y) != picture.pixel(x, y);
            }
        EXPECT_GT(transparent, 0) << qPrintable(e.Name);
        EXPECT_EQ(differing, 0) << qPrintable(e.Name);
    }
}

TEST_F(DesignerPluginTest, WidgetsMadeForDesignerAreDesigningAndIgnoreClicks)
{
    OpenInDesigner();
    QWidget form;
    for (QDesignerCustomWidgetInterface *w : Widgets) {
        EXPECT_TRUE(w->isInitialized());
        QWidget *widget = w->createWidget(&form);
        ASSERT_NE(widget, nullptr);
        EXPECT_EQ(QString::fromLatin1(widget->metaObject()->className()), w->name());
        EXPECT_EQ(widget->parentWidget(), &form);
        const auto *state = dynamic_cast<TComponentState *>(widget);
        ASSERT_NE(state, nullptr) << qPrintable(w->name());
        EXPECT_TRUE(state->Designing()) << qPrintable(w->name());
    }

    // The record navigator in Designer: a click on a button reaches nobody.
    const auto navigator =
        std::find_if(Widgets.begin(), Widgets.end(), [](QDesignerCustomWidgetInterface *w) {
            return w->name() == QLatin1String("wn::TNavigator");
        });
    ASSERT_NE(navigator, Widgets.end());
    auto *nav = qobject_cast<TNavigator *>((*navigator)->createWidget(&form));
    ASSERT_NE(nav, nullptr);
    int clicks = 0;
    nav->OnClick = [&](QObject *, TNavigateBtn) { ++clicks; };
    form.show();
    QTest::mouseClick(nav->Buttons(nbNext), Qt::LeftButton, {}, QPoint(5, 5));
    EXPECT_EQ(clicks, 0);
}

TEST_F(DesignerPluginTest, AFormMadeInDesignerLoadsWithItsValuesIntoWorkingWidgets)
{
    QUiLoader loader;
    loader.clearPluginPaths();
    loader.addPluginPath(QStringLiteral(WN_BINARY_DIR "/plugins/designer"));
    for (const QDesignerCustomWidgetInterface *w : Widgets)
        EXPECT_TRUE(loader.availableWidgets().contains(w->name())) << qPrintable(w->name());

    const QChar separator = FormatSettings().DecimalSeparator;
    FormatSettings().DecimalSeparator = QLatin1Char('.');
    QFile ui(QStringLiteral(WN_SOURCE_DIR "/tests/package/WNForm.ui"));
    ASSERT_TRUE(ui.open(QIODevice::ReadOnly));
    const std::unique_ptr<QWidget> form(loader.load(&ui));
    FormatSettings().DecimalSeparator = separator;
    ASSERT_NE(form, nullptr) << qPrintable(loader.errorString());

    for (const test::TFormValue &v : test::FormValues()) {
        QString error;
        const QVariant actual = test::FormValue(*form, v, error);
        EXPECT_EQ(error, QString());
        EXPECT_EQ(actual, v.Expected)
            << v.Object << "." << v.Property << " = " << qPrintable(actual.toString());
    }
    qsizetype components = 0;
    for (QWidget *child : form->findChildren<QWidget *>(Qt::FindDirectChildrenOnly))
        if (const auto *state = dynamic_cast<const TComponentState *>(child)) {
            ++components;
            EXPECT_FALSE(state->Designing()) << qPrintable(child->objectName());
        }
    EXPECT_EQ(components, Widgets.size());

    auto *nav = form->findChild<TNavigator *>("Navigator1");
    ASSERT_NE(nav, nullptr);
    std::vector<TNavigateBtn> clicked;
    nav->OnClick = [&](QObject *, TNavigateBtn b) { clicked.push_back(b); };
    form->show();
    QTest::mouseClick(nav->Buttons(nbNext), Qt::LeftButton, {}, QPoint(5, 5));
    EXPECT_EQ(clicked, std::vector<TNavigateBtn>{nbNext});
    // The colour field draws from a palette given in code.
    TFarbArray palette;
    palette.InitFarben();
    auto *field = form->findChild<TFarbFeld *>("FarbFeld1");
    ASSERT_NE(field, nullptr);
    field->SetFarbArray(&palette);
    auto *book = form->findChild<TKVLogBook *>("KVLogBook1");
    ASSERT_NE(book, nullptr);
    book->AddLine(QStringLiteral("Berechnung beendet"), clog_protok, 0, 0);
    book->AddLine(QStringLiteral("Punkt 17 liegt außerhalb"), clog_warning, 0, 0);
    EXPECT_EQ(book->RowCount(), 3);
    test::SavePicture(*form, "package", "designer_form");
    field->SetFarbArray(nullptr);
}
