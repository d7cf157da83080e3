// The colour-scale file (*.SGC) from untrusted bytes. Loading never throws once the file is
// open, so any exception is a finding.
#include "FuzzSupport.h"

#include "colours/FarbArr.h"

using namespace wn;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    TFarbArray palette;
    palette.LoadColors(wnfuzz::WriteInput(data, size, QStringLiteral("input.sgc")));
    for (int nr = 1; nr <= cFarbCount; ++nr)
        (void)palette.GetRGBFarbe(nr);
    return 0;
}
