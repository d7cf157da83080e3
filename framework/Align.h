#pragma once
// TAlign: where a control sits in its parent. The package's controls only ask whether they are
// aligned at all (their size rules differ); placing aligned controls is the host's layout.

#include <cstdint>

namespace wn {

enum TAlign : std::uint8_t { alNone, alTop, alBottom, alLeft, alRight, alClient, alCustom };

} // namespace wn
