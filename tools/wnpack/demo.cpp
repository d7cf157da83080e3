// wnpack demo: the package's main job, run by ./wn demo.
#include "Command.h"

#include "framework/SysUtils.h"

#include <cstdio>

namespace wnpack {
namespace {

int RunDemo(const QStringList &)
{
    std::printf("WNPack %s\n", qPrintable(wn::FloatToStrF(1234.5678, wn::ffFixed, 10, 2)));
    return 0;
}

const TCommandRegistration registration({"demo", "runs the package's demonstration", RunDemo});

} // namespace
} // namespace wnpack
