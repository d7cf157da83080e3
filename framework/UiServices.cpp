#include "framework/UiServices.h"

#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QDialog>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QMimeData>
#include <QPrintDialog>
#include <QPrinter>
#include <QPushButton>

#include <atomic>
#include <cstdio>
#include <memory>

namespace wn {

namespace {

// A process counts as headless when there is no widget application or it runs on a platform
// that cannot show a window to anybody.
bool Headless()
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
        return true;
    const QString platform = QGuiApplication::platformName();
    return platform == QLatin1String("offscreen") || platform == QLatin1String("minimal");
}

QString KindCaption(TMsgDlgType kind)
{
    switch (kind) {
    case mtWarning: return QStringLiteral("Warning");
    case mtError: return QStringLiteral("Error");
    case mtInformation: return QStringLiteral("Information");
    case mtConfirmation: return QStringLiteral("Confirm");
    case mtCustom: break;
    }
    return QCoreApplication::applicationName();
}

// The answer of a box nobody can see: OK, or No when the box asks a yes/no question.
int UnattendedAnswer(TMsgDlgButtons buttons)
{
    if (buttons.contains(mbOK) || buttons.empty())
        return mrOk;
    if (buttons.contains(mbNo))
        return mrNo;
    if (buttons.contains(mbCancel))
        return mrCancel;
    return mrOk;
}

class TQtUiServices : public TUiServices
{
public:
    int MessageDlg(const QString &text, TMsgDlgType kind, TMsgDlgButtons buttons, int helpContext) override
    {
        if (Headless()) {
            std::fprintf(stderr, "%s: %s\n", qPrintable(KindCaption(kind)), qPrintable(text));
            return UnattendedAnswer(buttons);
        }
        QMessageBox box;
        box.setWindowTitle(KindCaption(kind));
        box.setText(text);
        switch (kind) {
        case mtWarning: box.setIcon(QMessageBox::Warning); break;
        case mtError: box.setIcon(QMessageBox::Critical); break;
        case mtInformation: box.setIcon(QMessageBox::Information); break;
        case mtConfirmation: box.setIcon(QMessageBox::Question); break;
        case mtCustom: break;
        }
        struct ButtonResult {
            TMsgDlgBtn Btn;
            QMessageBox::StandardButton Std;
            int Result;
        };
        static const ButtonResult table[] = {
            {mbYes, QMessageBox::Yes, mrYes},
            {mbNo, QMessageBox::No, mrNo},
            {mbOK, QMessageBox::Ok, mrOk},
            {mbCancel, QMessageBox::Cancel, mrCancel},
            {mbAbort, QMessageBox::Abort, mrAbort},
            {mbRetry, QMessageBox::Retry, mrRetry},
            {mbIgnore, QMessageBox::Ignore, mrIgnore},
            {mbAll, QMessageBox::YesToAll, mrAll},
            {mbNoToAll, QMessageBox::NoToAll, mrNoToAll},
            {mbYesToAll, QMessageBox::YesToAll, mrYesToAll},
        };
        QMessageBox::StandardButtons stdButtons;
        for (const ButtonResult &b : table)
            if (buttons.contains(b.Btn))
                stdButtons |= b.Std;
        if (!stdButtons)
            stdButtons = QMessageBox::Ok;
        box.setStandardButtons(stdButtons);
        QPushButton *help = nullptr;
        if (buttons.contains(mbHelp))
            help = box.addButton(QMessageBox::Help);
        for (;;) {
            const int pressed = box.exec();
            if (help && box.clickedButton() == help) {
                ShowHelp(helpContext);
                continue;
            }
            for (const ButtonResult &b : table)
                if (pressed == b.Std && buttons.contains(b.Btn))
                    return b.Result;
            return pressed == QMessageBox::Ok ? mrOk : mrCancel;
        }
    }

    bool OpenFileDialog(TFileDialogOptions &options) override
    {
        return FileDialog(options, QFileDialog::AcceptOpen);
    }
    bool SaveFileDialog(TFileDialogOptions &options) override
    {
        return FileDialog(options, QFileDialog::AcceptSave);
    }

    int ShowModal(QDialog &form) override
    {
        if (Headless())
            return mrCancel;
        return TUiServices::ShowModal(form);
    }

    bool PrintDialog(QPrinter &printer) override
    {
        if (Headless())
            return false;
        QPrintDialog dialog(&printer);
        return dialog.exec() == QDialog::Accepted;
    }

    QPrinter &Printer() override
    {
        if (!FPrinter)
            FPrinter = std::make_unique<QPrinter>(QPrinter::HighResolution);
        return *FPrinter;
    }

    void ShowHelp(int helpContext) override { std::fprintf(stderr, "Help: topic %d\n", helpContext); }

    void Beep() override
    {
        if (qobject_cast<QApplication *>(QCoreApplication::instance()))
            QApplication::beep();
    }

    bool ClipboardHasText() override
    {
        if (QClipboard *cb = Clipboard())
            return cb->mimeData() && cb->mimeData()->hasText();
        return !FClipboard.isNull();
    }

    QString ClipboardText() override
    {
        if (QClipboard *cb = Clipboard())
            return cb->text();
        return FClipboard;
    }

    void SetClipboardText(const QString &text) override
    {
        if (QClipboard *cb = Clipboard())
            cb->setText(text);
        else
            FClipboard = text;
    }

    TCursor ScreenCursor() override { return FCursor; }

    void SetScreenCursor(TCursor cursor) override
    {
        if (cursor == FCursor)
            return;
        FCursor = cursor;
        if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
            return;
        if (cursor == crDefault) {
            if (FOverride)
                QGuiApplication::restoreOverrideCursor();
            FOverride = false;
        } else if (FOverride) {
            QGuiApplication::changeOverrideCursor(QCursor(CursorShape(cursor)));
        } else {
            QGuiApplication::setOverrideCursor(QCursor(CursorShape(cursor)));
            FOverride = true;
        }
    }

private:
    static QClipboard *Clipboard()
    {
        return qobject_cast<QGuiApplication *>(QCoreApplication::instance()) ? QGuiApplication::clipboard()
                                                                             : nullptr;
    }

    bool FileDialog(TFileDialogOptions &options, QFileDialog::AcceptMode mode)
    {
        if (Headless())
            return false;
        QFileDialog dialog(nullptr, options.Title, options.InitialDir);
        dialog.setAcceptMode(mode);
        dialog.setFileMode(mode == QFileDialog::AcceptOpen ? QFileDialog::ExistingFile
                                                           : QFileDialog::AnyFile);
        const QStringList filters = FilterToNameFilters(options.Filter);
        if (!filters.isEmpty())
            dialog.setNameFilters(filters);
        if (!options.DefaultExt.isEmpty())
            dialog.setDefaultSuffix(options.DefaultExt);
        if (!options.FileName.isEmpty())
            dialog.selectFile(options.FileName);
        if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
            return false;
        options.FileName = ApplyDefaultExt(dialog.selectedFiles().constFirst(), options.DefaultExt);
        return true;
    }

    std::unique_ptr<QPrinter> FPrinter;
    QString FClipboard;
    TCursor FCursor = crDefault;
    bool FOverride = false;
};

TQtUiServices &QtServices()
{
    static TQtUiServices services;
    return services;
}

std::atomic<TUiServices *> g_services{nullptr};

} // namespace

Qt::CursorShape CursorShape(TCursor cursor)
{
    switch (cursor) {
    case crCross: return Qt::CrossCursor;
    case crIBeam: return Qt::IBeamCursor;
    case crSizeWE: return Qt::SizeHorCursor;
    case crUpArrow: return Qt::UpArrowCursor;
    case crHourGlass: return Qt::WaitCursor;
    case crDrag: return Qt::DragMoveCursor;
    case crNoDrop:
    case crNo: return Qt::ForbiddenCursor;
    case crHSplit: return Qt::SplitHCursor;
    case crVSplit: return Qt::SplitVCursor;
    case crHandPoint: return Qt::PointingHandCursor;
    default: return Qt::ArrowCursor;
    }
}

TUiServices::~TUiServices() = default;

int TUiServices::ShowModal(QDialog &form)
{
    const int result = form.exec();
    return result == QDialog::Rejected ? mrCancel : result;
}

TUiServices &UiServices()
{
    TUiServices *s = g_services.load();
    return s ? *s : QtServices();
}

TUiServices *SetUiServices(TUiServices *services)
{
    TUiServices *previous = g_services.exchange(services);
    return previous;
}

QStringList FilterToNameFilters(const QString &filter)
{
    QStringList result;
    const QStringList parts = filter.split(QLatin1Char('|'));
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        QString masks = parts[i + 1];
        masks.replace(QLatin1Char(';'), QLatin1Char(' '));
        result << QStringLiteral("%1 (%2)").arg(parts[i], masks.trimmed());
    }
    return result;
}

QString ApplyDefaultExt(const QString &fileName, const QString &defaultExt)
{
    if (defaultExt.isEmpty() || fileName.isEmpty() || !QFileInfo(fileName).suffix().isEmpty())
        return fileName;
    return fileName + QLatin1Char('.') + defaultExt;
}

TRecordingUiServices::TRecordingUiServices() = default;

TRecordingUiServices::~TRecordingUiServices()
{
    delete FPrinter;
}

void TRecordingUiServices::Record(const Call &call)
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    Calls.push_back(call);
}

int TRecordingUiServices::MessageDlg(const QString &text, TMsgDlgType kind, TMsgDlgButtons buttons,
                                     int helpContext)
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    int answer;
    if (!MessageAnswers.empty()) {
        answer = MessageAnswers.front();
        MessageAnswers.pop_front();
    } else {
        answer = UnattendedAnswer(buttons);
    }
    Call call;
    call.What = QStringLiteral("MessageDlg");
    call.Text = text;
    call.Kind = kind;
    call.Buttons = buttons;
    call.HelpContext = helpContext;
    call.Answer = answer;
    Record(call);
    return answer;
}

bool TRecordingUiServices::FileDialog(const QString &what, TFileDialogOptions &options)
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    Call call;
    call.What = what;
    call.Dialog = options;
    QString answer;
    if (!FileAnswers.empty()) {
        answer = FileAnswers.front();
        FileAnswers.pop_front();
    }
    call.Answer = answer.isEmpty() ? mrCancel : mrOk;
    Record(call);
    if (answer.isEmpty())
        return false;
    options.FileName = ApplyDefaultExt(answer, options.DefaultExt);
    return true;
}

bool TRecordingUiServices::OpenFileDialog(TFileDialogOptions &options)
{
    return FileDialog(QStringLiteral("OpenFileDialog"), options);
}

bool TRecordingUiServices::SaveFileDialog(TFileDialogOptions &options)
{
    return FileDialog(QStringLiteral("SaveFileDialog"), options);
}

bool TRecordingUiServices::PrintDialog(QPrinter &)
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    bool answer = true;
    if (!PrintAnswers.empty()) {
        answer = PrintAnswers.front();
        PrintAnswers.pop_front();
    }
    Call call;
    call.What = QStringLiteral("PrintDialog");
    call.Answer = answer ? mrOk : mrCancel;
    Record(call);
    return answer;
}

int TRecordingUiServices::ShowModal(QDialog &form)
{
    std::function<int(QDialog &)> answer;
    {
        std::lock_guard<std::recursive_mutex> lock(FLock);
        answer = ModalAnswer;
    }
    // The answer runs unlocked: it may drive the form, and the form may call back in.
    const int result = answer ? answer(form) : mrCancel;
    Call call;
    call.What = QStringLiteral("ShowModal");
    call.Text = form.windowTitle();
    call.Answer = result;
    Record(call);
    return result;
}

QPrinter &TRecordingUiServices::Printer()
{
    if (!FPrinter)
        FPrinter = new QPrinter(QPrinter::ScreenResolution);
    return *FPrinter;
}

void TRecordingUiServices::ShowHelp(int helpContext)
{
    Call call;
    call.What = QStringLiteral("ShowHelp");
    call.HelpContext = helpContext;
    Record(call);
}

void TRecordingUiServices::Beep()
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    ++Beeps;
    Call call;
    call.What = QStringLiteral("Beep");
    Record(call);
}

void TRecordingUiServices::SetClipboardText(const QString &text)
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    Clipboard = text;
    HasClipboardText = true;
    Call call;
    call.What = QStringLiteral("SetClipboardText");
    call.Text = text;
    Record(call);
}

void TRecordingUiServices::SetScreenCursor(TCursor cursor)
{
    std::lock_guard<std::recursive_mutex> lock(FLock);
    Cursor = cursor;
    Call call;
    call.What = QStringLiteral("SetScreenCursor");
    call.Answer = cursor;
    Record(call);
}

std::vector<TRecordingUiServices::Call> TRecordingUiServices::CallsOf(const QString &what) const
{
    std::vector<Call> result;
    for (const Call &c : Calls)
        if (c.What == what)
            result.push_back(c);
    return result;
}

} // namespace wn
