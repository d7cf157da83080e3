#pragma once
// Shared helpers of the navigator tests: pictures under test_pictures/navigators and arrow-key
// walks.

#include "WidgetTestSupport.h"

#include <map>
#include <utility>
#include <vector>

namespace wn::test {

inline QImage Picture(QWidget &control, const QString &name)
{
    return SavePicture(control, "navigators", name);
}

// Presses the keys of `keys` ('<' left, '>' right, '^' up) and checks the focused button after
// each.
template <typename TBar>
void ExpectFocusSteps(TBar &bar, const char *keys,
                      const std::vector<decltype(std::declval<TBar>().FocusedButton())> &focused)
{
    const std::map<char, Qt::Key> key{{'<', Qt::Key_Left}, {'>', Qt::Key_Right}, {'^', Qt::Key_Up}};
    for (std::size_t i = 0; i < focused.size(); ++i) {
        QTest::keyClick(&bar, key.at(keys[i]));
        EXPECT_EQ(bar.FocusedButton(), focused[i]) << "key " << i << " of " << keys;
    }
}

} // namespace wn::test
