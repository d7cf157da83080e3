#pragma once
// Arrow-key focus movement shared by the button bars.

namespace wn {

// The button the focus moves to from `current` towards `step` (-1 left, +1 right) over buttons
// 0 to `last`: the next visible one, or the end of the bar when none is visible that way, even
// though the end button itself may be hidden.
template <typename TIsVisible> int NextFocusedButton(int current, int step, int last, TIsVisible isVisible)
{
    int focused = current;
    while (focused + step >= 0 && focused + step <= last) {
        focused += step;
        if (isVisible(focused))
            break;
    }
    return focused;
}

} // namespace wn
