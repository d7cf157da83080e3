// The tagged record file from untrusted bytes: the header and comment, then records read as
// data, text, skipped and long data in the order the input's own bytes choose.
#include "FuzzSupport.h"

#include "framework/Exceptions.h"
#include "grid/FileIO.h"

#include <vector>

using namespace wn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString path = wnfuzz::WriteInput(data, size);
    TFileIO io;
    QString comment;
    std::int32_t version = 0;
    io.OpenHeader(path, comment, version);
    // Every record head takes four bytes or more, so this ends within size / 4 + 1 rounds.
    std::size_t rounds = 0;
    while (!io.Error()) {
        if (++rounds > size / 4 + 2)
            __builtin_trap();
        io.read_datainfo();
        const std::uint8_t choice = std::uint8_t(io.ID() ^ rounds);
        QString text;
        char buffer[64];
        switch (choice % 4) {
        case 0: io.read_data(std::int32_t(sizeof buffer), buffer); break;
        case 1: io.read_text(std::int32_t(choice), text); break;
        case 2: io.read_not(); break;
        case 3:
            // A long record is read whole only when the file can hold it.
            if (io.Len() <= size) {
                std::vector<char> all(io.Len());
                io.read_longdata(all.data());
            } else {
                io.read_not();
            }
            break;
        }
    }
    return 0;
}
