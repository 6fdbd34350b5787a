#pragma once

#include <QtGui/QImage>

namespace kvbase
{

/// The shortest side of a test chart.
inline constexpr int kShortestChartSide = 64;

/// A picture that shows at sight what was done to it: rings and a star whose finest parts are a pixel wide,
/// bars, ramps and lines, a letter that tells up from down and left from right, a corner of each colour. The
/// same pixels on every machine; no fonts are used. Sides are at least `kShortestChartSide`.
QImage testChart(int width, int height);

} // namespace kvbase
