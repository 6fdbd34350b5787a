#pragma once

#include <KVBase/Platform/CoreImage.h>

#include <QtCore/QPointF>

namespace KVBase
{

/// What a checkerboard is made of.
struct CheckerboardInputs {
    QPointF center{150, 150};
    CIColor color0{1, 1, 1};
    CIColor color1{0, 0, 0};
    double width = 80;
    double sharpness = 1;
};

/// A checkerboard without end: the square whose lower left corner is the centre has the first colour, and its
/// neighbours the second. A pixel has the colour of the square that its middle lies in. A width that is no
/// positive number gives the first colour everywhere.
Ref<CIImage> makeCheckerboard(const CheckerboardInputs &inputs);

} // namespace KVBase
