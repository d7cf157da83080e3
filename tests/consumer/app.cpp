#include "framework/SysUtils.h"

#include <cstdio>

int main()
{
    const QString text = wn::FloatToStrF(1234.5678, wn::ffFixed, 10, 2);
    std::puts(text.toUtf8().constData());
    return text == QStringLiteral("1234.57") ? 0 : 1;
}
