#pragma once

#include "Platform/Pixels/Pixels.h"

namespace KVBase::Pixels
{

/// Calls `work(bytes, pixels)` for each row; for all rows at once where nothing lies between them.
template <class Work>
void forEachRow(const Rows &rows, const Work &work)
{
    if (rows.width == 0)
        return;
    if (rows.rowBytes == rows.width * 4) {
        work(rows.data, rows.width * rows.height);
        return;
    }
    for (std::size_t y = 0; y < rows.height; ++y)
        work(rows.data + y * rows.rowBytes, rows.width);
}

} // namespace KVBase::Pixels
