#include "kvbase/TestChart.h"

#include <QtCore/QRect>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace kvbase
{

namespace
{

constexpr double kPi = 3.14159265358979323846;

QRgb grey(double level)
{
    const int value = static_cast<int>(level * 255 + 0.5);
    return qRgb(value, value, value);
}

/// Gives each pixel of `area` what `pixel` answers for its place in it.
template <class Pixel>
void fill(QImage &chart, const QRect &area, const Pixel &pixel)
{
    for (int y = 0; y < area.height(); ++y)
        for (int x = 0; x < area.width(); ++x)
            chart.setPixel(area.x() + x, area.y() + y, pixel(x, y));
}

/// Rings that grow finer outwards, to one pixel at the middle of each edge.
void drawRings(QImage &chart, const QRect &area)
{
    const double half = area.width() / 2.0;
    fill(chart, area, [half](int x, int y) {
        const double dx = x + 0.5 - half;
        const double dy = y + 0.5 - half;
        const double square = dx * dx + dy * dy;
        return square > half * half ? grey(0.5) : grey(0.5 + 0.5 * std::cos(kPi * square / (2 * half)));
    });
}

/// Rays from the centre, each pixel the mean of sixteen points.
void drawStar(QImage &chart, const QRect &area)
{
    constexpr int kPoints = 4;
    constexpr int kRays = 36;
    const double half = area.width() / 2.0;
    fill(chart, area, [half](int x, int y) {
        double sum = 0;
        for (int i = 0; i < kPoints * kPoints; ++i) {
            const int column = i % kPoints;
            const int row = i / kPoints;
            const double dx = x + (column + 0.5) / kPoints - half;
            const double dy = y + (row + 0.5) / kPoints - half;
            const bool isRay = std::sin(kRays * std::atan2(dy, dx)) > 0;
            sum += dx * dx + dy * dy > half * half ? 0.5 : isRay ? 1 : 0;
        }
        return grey(sum / (kPoints * kPoints));
    });
}

/// The letter F, on a grid of six by eight.
void drawLetter(QImage &chart, const QRect &area)
{
    constexpr std::array<const char *, 8> kRows{"......", ".####.", ".#....", ".#....",
                                                ".###..", ".#....", ".#....", "......"};
    fill(chart, area, [&area, &kRows](int x, int y) {
        const auto row = static_cast<std::size_t>(y * 8 / area.height());
        return kRows[row][x * 6 / area.width()] == '#' ? qRgb(24, 48, 96) : qRgb(240, 232, 208);
    });
}

void drawBars(QImage &chart, const QRect &area)
{
    fill(chart, area, [&area](int x, int) {
        const int bar = 7 - x * 8 / area.width();
        return qRgb((bar & 2) != 0 ? 255 : 0, (bar & 4) != 0 ? 255 : 0, (bar & 1) != 0 ? 255 : 0);
    });
}

/// Grey, red, green and blue from nothing to all.
void drawRamps(QImage &chart, const QRect &area)
{
    fill(chart, area, [&area](int x, int y) {
        const int level = x * 255 / (area.width() - 1);
        switch (y * 4 / area.height()) {
        case 0:
            return qRgb(level, level, level);
        case 1:
            return qRgb(level, 0, 0);
        case 2:
            return qRgb(0, level, 0);
        default:
            return qRgb(0, 0, level);
        }
    });
}

/// Lines one, two, three and four pixels wide, upright in the left half and lying in the right one.
void drawLines(QImage &chart, const QRect &area)
{
    fill(chart, area, [&area](int x, int y) {
        const int block = x * 8 / area.width();
        const int along = block < 4 ? x : y;
        return along / (block % 4 + 1) % 2 == 0 ? grey(0) : grey(1);
    });
}

void drawCorners(QImage &chart, int side)
{
    const int right = chart.width() - side;
    const int bottom = chart.height() - side;
    const auto square = [&chart, side](int x, int y, QRgb colour) {
        fill(chart, QRect(x, y, side, side), [colour](int, int) { return colour; });
    };
    square(0, 0, qRgb(208, 32, 32));
    square(right, 0, qRgb(32, 160, 64));
    square(0, bottom, qRgb(32, 64, 208));
    square(right, bottom, qRgb(240, 200, 32));
}

} // namespace

QImage testChart(int width, int height)
{
    QImage chart(width, height, QImage::Format_RGB32);
    chart.fill(grey(0.5));
    const int margin = std::min(width, height) / 16;
    const QRect inner(margin, margin, width - 2 * margin, height - 2 * margin);
    const int round = std::min(inner.width() * 3 / 8, inner.height() / 2);
    drawRings(chart, QRect(inner.x(), inner.y(), round, round));
    drawStar(chart, QRect(inner.x() + inner.width() - round, inner.y(), round, round));
    const int middle = inner.width() - 2 * round - 2 * margin;
    drawLetter(chart, QRect(inner.x() + round + margin, inner.y(), middle, round));
    const int band = (inner.height() - round - margin) / 3;
    const int top = inner.y() + round + margin;
    drawBars(chart, QRect(inner.x(), top, inner.width(), band));
    drawRamps(chart, QRect(inner.x(), top + band, inner.width(), band));
    drawLines(chart, QRect(inner.x(), top + 2 * band, inner.width(), band));
    drawCorners(chart, margin);
    return chart;
}

} // namespace kvbase
