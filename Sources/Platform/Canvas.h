#pragma once

#include <KVBase/Platform/NSGeometry.h>

#include <QtGui/QImage>

#include <cstdint>

class QPainter;

namespace KVBase
{

/// A transparent picture of 32-bit RGBA, premultiplied, from the allocator; null for a side below 1, beyond
/// `kMaximumBitmapBytes` or without memory.
QImage transparentCanvas(std::int64_t wide, std::int64_t high);

/// Draws `picture` upright into `inRect` of coordinates in which y grows upwards.
void drawUpright(QPainter &painter, const QImage &picture, const NSRect &inRect);

/// Lets y grow upwards from the bottom of a device of `high` pixels.
void originAtBottomLeft(QPainter &painter, double high);

/// Whether all four numbers are finite and both sides positive.
bool isDrawable(const NSRect &rect);

} // namespace KVBase
