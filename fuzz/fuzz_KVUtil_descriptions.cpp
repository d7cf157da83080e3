// The one-line descriptions of the suite's data files, from untrusted bytes. The first byte
// picks the reader, the rest is the file. A description is one line for a file list, so a
// reader that returns a whole file is a finding too.
#include "FuzzSupport.h"

#include "framework/Exceptions.h"
#include "util/KVUtil.h"

using namespace wn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const QString path = wnfuzz::WriteInput(data + 1, size - 1);
    QString description;
    try {
        switch (data[0] % 11) {
        case 0: GetRESFileDescription(path, description); break;
        case 1: GetTXTFileDescription(path, description); break;
        case 2: GetRLKFileDescription(path, QStringLiteral("RLK_"), description); break;
        case 3: GetRLKFileDescription(path, QStringLiteral("RMK_"), description); break;
        case 4: GetRLKFileDescription(path, QStringLiteral("TLK_"), description); break;
        case 5: GetRLKFileDescription(path, QStringLiteral("GRID"), description); break;
        case 6: GetGMFileDescription(path, description); break;
        case 7: GetV4FileDescription(path, description, false); break;
        case 8: GetV4FileDescription(path, description, true); break;
        case 9: GetSGFFileDescription(path, description); break;
        case 10: GetListDescription(path, description); break;
        }
    } catch (const wn::Exception &) {
    }
    if (description.size() > 65535)
        __builtin_trap();
    return 0;
}
