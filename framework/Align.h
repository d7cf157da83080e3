#pragma once
// TAlign: where a control sits in its parent. The package's controls only ask whether they are
// aligned at all (their size rules differ); placing aligned controls is the host's layout.
// TAlignment: how text lines up in its box.

#include <cstdint>

namespace wn {

enum TAlign : std::uint8_t { alNone, alTop, alBottom, alLeft, alRight, alClient, alCustom };

// Where text sits across its box.
enum TAlignment : std::uint8_t { taLeftJustify, taRightJustify, taCenter };

} // namespace wn
