#pragma once
// Everything modal or global that the package asks of the user interface goes through one
// replaceable service object: message boxes, file and print dialogs, help, beep, clipboard and
// the screen cursor. Hosts may install their own; tests install TRecordingUiServices.

#include "framework/Classes.h"
#include "wn_export.h"

#include <QString>
#include <QStringList>
#include <Qt>

#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <vector>

class QDialog;
class QPrinter;

namespace wn {

enum TMsgDlgType : std::uint8_t { mtWarning, mtError, mtInformation, mtConfirmation, mtCustom };
enum TMsgDlgBtn : std::uint8_t {
    mbYes,
    mbNo,
    mbOK,
    mbCancel,
    mbAbort,
    mbRetry,
    mbIgnore,
    mbAll,
    mbNoToAll,
    mbYesToAll,
    mbHelp
};
using TMsgDlgButtons = TSet<TMsgDlgBtn>;

// Modal results.
constexpr int mrNone = 0;
constexpr int mrOk = 1;
constexpr int mrCancel = 2;
constexpr int mrAbort = 3;
constexpr int mrRetry = 4;
constexpr int mrIgnore = 5;
constexpr int mrYes = 6;
constexpr int mrNo = 7;
constexpr int mrAll = 8;
constexpr int mrNoToAll = 9;
constexpr int mrYesToAll = 10;

// Screen cursors, numbered as the runtime numbers them.
using TCursor = std::int16_t;
constexpr TCursor crDefault = 0;
constexpr TCursor crArrow = -2;
constexpr TCursor crCross = -3;
constexpr TCursor crIBeam = -4;
constexpr TCursor crSizeWE = -9;
constexpr TCursor crUpArrow = -10;
constexpr TCursor crHourGlass = -11;
constexpr TCursor crDrag = -12;
constexpr TCursor crNoDrop = -13;
constexpr TCursor crHSplit = -14;
constexpr TCursor crVSplit = -15;
constexpr TCursor crNo = -18;
constexpr TCursor crHandPoint = -21;

// The Qt shape that shows a cursor (the arrow for the default and unknown cursors).
WN_EXPORT Qt::CursorShape CursorShape(TCursor cursor);

// A file dialog's set-up and, after confirmation, its answer in FileName.
struct TFileDialogOptions {
    QString Title;
    // The runtime's filter form: "Text (*.txt)|*.txt|All (*.*)|*.*".
    QString Filter;
    // Appended (with a dot) to a chosen name without extension.
    QString DefaultExt;
    QString InitialDir;
    QString FileName;
};

class WN_EXPORT TUiServices
{
public:
    virtual ~TUiServices();

    // Shows a modal message box; returns the modal result of the button pressed.
    virtual int MessageDlg(const QString &text, TMsgDlgType kind, TMsgDlgButtons buttons,
                           int helpContext) = 0;
    // On confirmation: true, with options.FileName set to the chosen file.
    virtual bool OpenFileDialog(TFileDialogOptions &options) = 0;
    virtual bool SaveFileDialog(TFileDialogOptions &options) = 0;
    virtual bool PrintDialog(QPrinter &printer) = 0;
    // The default printer; owned by the services.
    virtual QPrinter &Printer() = 0;
    virtual void ShowHelp(int helpContext) = 0;
    virtual void Beep() = 0;
    virtual bool ClipboardHasText() = 0;
    virtual QString ClipboardText() = 0;
    virtual void SetClipboardText(const QString &text) = 0;
    virtual TCursor ScreenCursor() = 0;
    virtual void SetScreenCursor(TCursor cursor) = 0;
    // Shows one of the package's forms modally; returns its modal result (mrCancel when it was
    // closed without one).
    virtual int ShowModal(QDialog &form);
};

// The installed services (the Qt implementation unless replaced).
WN_EXPORT TUiServices &UiServices();
// Installs services (nullptr: the Qt implementation again); returns the previous ones. The
// caller keeps ownership.
WN_EXPORT TUiServices *SetUiServices(TUiServices *services);

// Splits a runtime filter ("Desc|*.a;*.b|...") into Qt's name filters ("Desc (*.a *.b)").
WN_EXPORT QStringList FilterToNameFilters(const QString &filter);
// The default extension applied to a chosen name that has none.
WN_EXPORT QString ApplyDefaultExt(const QString &fileName, const QString &defaultExt);

// Records every call and answers from scripted replies; for tests and headless hosts. Calls may
// come from any thread; read the public lists only while no other thread calls in.
class WN_EXPORT TRecordingUiServices : public TUiServices
{
public:
    struct Call {
        QString What; // "MessageDlg", "OpenFileDialog", "SaveFileDialog", "PrintDialog", "ShowHelp",
                      // "Beep", "SetClipboardText", "SetScreenCursor", "ShowModal" (Text: the caption)
        QString Text;
        TMsgDlgType Kind = mtInformation;
        TMsgDlgButtons Buttons;
        int HelpContext = 0;
        TFileDialogOptions Dialog;
        int Answer = mrNone;
    };

    // Answers used in order; when none is left MessageDlg answers mrOk (mrNo when the buttons
    // have Yes but no OK), file dialogs cancel and print dialogs confirm.
    std::deque<int> MessageAnswers;
    std::deque<QString> FileAnswers; // an empty string cancels
    std::deque<bool> PrintAnswers;
    // Plays the user of a modal form (sets its controls, returns the modal result); without it
    // every form is cancelled.
    std::function<int(QDialog &form)> ModalAnswer;

    std::vector<Call> Calls;
    QString Clipboard;
    bool HasClipboardText = false;
    TCursor Cursor = crDefault;
    int Beeps = 0;

    TRecordingUiServices();
    ~TRecordingUiServices() override;

    int MessageDlg(const QString &text, TMsgDlgType kind, TMsgDlgButtons buttons, int helpContext) override;
    bool OpenFileDialog(TFileDialogOptions &options) override;
    bool SaveFileDialog(TFileDialogOptions &options) override;
    bool PrintDialog(QPrinter &printer) override;
    QPrinter &Printer() override;
    void ShowHelp(int helpContext) override;
    void Beep() override;
    bool ClipboardHasText() override { return HasClipboardText; }
    QString ClipboardText() override { return Clipboard; }
    void SetClipboardText(const QString &text) override;
    TCursor ScreenCursor() override { return Cursor; }
    void SetScreenCursor(TCursor cursor) override;
    int ShowModal(QDialog &form) override;

    // The calls whose What equals what.
    std::vector<Call> CallsOf(const QString &what) const;

private:
    bool FileDialog(const QString &what, TFileDialogOptions &options);
    void Record(const Call &call);
    std::recursive_mutex FLock;
    QPrinter *FPrinter = nullptr;
};

// Installs a services object for the lifetime of a scope and restores the previous one.
class WN_EXPORT TUiServicesScope
{
public:
    explicit TUiServicesScope(TUiServices &services) : FPrevious(SetUiServices(&services)) {}
    ~TUiServicesScope() { SetUiServices(FPrevious); }
    TUiServicesScope(const TUiServicesScope &) = delete;
    TUiServicesScope &operator=(const TUiServicesScope &) = delete;

private:
    TUiServices *FPrevious;
};

} // namespace wn
