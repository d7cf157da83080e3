#pragma once
// The package's widgets in Qt Designer's widget box: one collection plugin offering every visual
// component of the palette page "W+N" with its palette picture, a tooltip and a default size.
// Widgets made for Designer carry the designing state; a form loader (QUiLoader) that uses the
// plugin at run time gets ordinary, working widgets.

#include <QtUiPlugin/QDesignerCustomWidgetCollectionInterface>
#include <QtUiPlugin/QDesignerCustomWidgetInterface>

#include <QObject>
#include <QSize>

namespace wn {

// One component in Designer.
struct TDesignerComponent {
    const QMetaObject *MetaObject;
    const char *Header;
    const char *ToolTip;
    QSize DefaultSize;
    QWidget *(*Create)(QWidget *parent);
};

class TComponentPlugin : public QObject, public QDesignerCustomWidgetInterface
{
    Q_OBJECT
    Q_INTERFACES(QDesignerCustomWidgetInterface)

public:
    TComponentPlugin(const TDesignerComponent &component, QObject *parent);

    QString name() const override;
    QString group() const override;
    QString toolTip() const override;
    QString whatsThis() const override;
    QString includeFile() const override;
    QIcon icon() const override;
    bool isContainer() const override { return false; }
    QWidget *createWidget(QWidget *parent) override;
    bool isInitialized() const override { return FInitialized; }
    // Designer calls this with its core before it makes any widget; a form loader never does.
    void initialize(QDesignerFormEditorInterface *core) override;
    QString domXml() const override;

private:
    const TDesignerComponent &FComponent;
    bool FInitialized = false;
    bool FDesigning = false;
};

class TDesignerPlugin : public QObject, public QDesignerCustomWidgetCollectionInterface
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QDesignerCustomWidgetCollectionInterface_iid)
    Q_INTERFACES(QDesignerCustomWidgetCollectionInterface)

public:
    explicit TDesignerPlugin(QObject *parent = nullptr);

    QList<QDesignerCustomWidgetInterface *> customWidgets() const override { return FWidgets; }

private:
    QList<QDesignerCustomWidgetInterface *> FWidgets;
};

} // namespace wn
