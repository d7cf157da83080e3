// The old "PlotFarb.dat" palette file from untrusted bytes.
#include "FuzzSupport.h"

#include "colours/FarbArr.h"

using namespace wn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    TFarbArray palette;
    palette.ImportOldColors(wnfuzz::WriteInput(data, size, QStringLiteral("PlotFarb.dat")));
    (void)palette.GetNearestFarbNr(data && size ? data[0] : 0, 128, 255);
    return 0;
}
