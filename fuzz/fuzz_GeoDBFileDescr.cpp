// The descriptions at the start of geo database and situation files, from untrusted bytes. Both
// readers see every input; their texts stay within the descriptions' own limits.
#include "FuzzSupport.h"

#include "grid/GeoDBFileDescr.h"

using namespace wn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString path = wnfuzz::WriteInput(data, size);
    if (GeofileDescr(path).size() > 99 || SituationfileDescr(path).size() > 80)
        __builtin_trap();
    return 0;
}
