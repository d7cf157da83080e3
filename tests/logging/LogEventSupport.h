#pragma once
// Shared pieces of the log-event tests: a thread-safe recorder of delivered events and a
// fixture that puts KV_ELOG, the stop flags and the UI services back after each test.

#include "framework/UiServices.h"
#include "logging/LogEvent.h"

#include <gtest/gtest.h>

#include <mutex>
#include <ostream>
#include <thread>
#include <vector>

// Lets failures show texts rather than their bytes.
inline void PrintTo(const QString &text, std::ostream *os)
{
    *os << '"' << text.toStdString() << '"';
}

namespace wn::test {

struct TDelivered {
    QString Text;
    TLogStatus Art;
    std::int32_t HelpContext;
    std::int32_t ObjKey;
    TObject *AObj;
    std::thread::id Thread;
};

class TEventRecorder
{
public:
    TLog_Event Handler()
    {
        return
            [this](const QString &text, TLogStatus art, std::int32_t help, std::int32_t key, TObject *obj) {
                // A deep copy, so that a test can still see whether the dispatcher let go of the text.
                const QString copy(text.constData(), text.size());
                std::lock_guard<std::mutex> lock(FLock);
                FEvents.push_back({copy, art, help, key, obj, std::this_thread::get_id()});
            };
    }

    std::vector<TDelivered> Events() const
    {
        std::lock_guard<std::mutex> lock(FLock);
        return FEvents;
    }

    QStringList Texts() const
    {
        QStringList texts;
        for (const TDelivered &e : Events())
            texts << e.Text;
        return texts;
    }

private:
    mutable std::mutex FLock;
    std::vector<TDelivered> FEvents;
};

class LogEventFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_NE(Log_Event_Obj, nullptr);
        FSavedSlot = KV_ELOG;
        rechenabbruch = false;
        UserBreaked = false;
    }

    void TearDown() override
    {
        KV_ELOG = FSavedSlot;
        rechenabbruch = false;
        UserBreaked = false;
    }

    std::vector<TRecordingUiServices::Call> Boxes() const { return Ui.CallsOf(QStringLiteral("MessageDlg")); }

    TRecordingUiServices Ui;
    TUiServicesScope UiScope{Ui};
    TLog_Event FSavedSlot;
};

// A text with its own heap buffer, so that isDetached() tells whether anybody else still holds it.
inline QString OwnText(const char *text)
{
    return QString::fromLatin1(text);
}

} // namespace wn::test
