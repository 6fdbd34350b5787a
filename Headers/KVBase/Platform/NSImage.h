#pragma once

#include <KVBase/KVExport.h>
#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSGeometry.h>
#include <KVBase/Platform/NSImageRep.h>

#include <QtCore/QString>
#include <QtGui/QImage>

#include <cstdint>
#include <vector>

namespace KVBase
{

/// The largest picture, counted at 4 bytes a pixel, that is decoded from a file: 256 MiB.
inline constexpr std::int64_t kMaximumDecodedImageBytes = std::int64_t{256} << 20;

/// A picture: a size in points and a list of representations of it. Used by one thread at a time; different
/// images may be used by different threads.
class KV_EXPORT NSImage {
public:
    /// No representation; the size is that of the largest one added.
    static Ref<NSImage> create();

    /// No representation, with a size of its own.
    static Ref<NSImage> create(const NSSize &size);

    /// One bitmap, a point for each of the picture's device-independent pixels. nil for a null image.
    static Ref<NSImage> create(const QImage &image);

    /// The picture in a file, turned upright as its metadata ask for, in any format Qt has a plug-in for; the
    /// contents decide, not the name. Reads the file. nil: no regular file, not a picture, damaged, or larger
    /// than `kMaximumDecodedImageBytes`; `errorText`, where given, then says why.
    static Ref<NSImage> imageWithContentsOfFile(const QString &path, QString *errorText = nullptr);

    ~NSImage();
    NSImage(const NSImage &) = delete;
    NSImage &operator=(const NSImage &) = delete;

    /// In points.
    NSSize size() const;

    /// The representations keep their own sizes. A zero size lets the largest representation decide.
    void setSize(const NSSize &size);

    /// Whether there is a representation to draw.
    bool isValid() const;

    /// In the order they were added.
    std::vector<Ref<NSImageRep>> representations() const;

    /// A nil one is not added.
    void addRepresentation(const Ref<NSImageRep> &representation);

    /// The representation with the most pixels, at its own number of pixels; null when there is nothing to
    /// draw.
    QImage toImage() const;

    /// Writes `toImage()` in the format that the name's extension stands for, whole or not at all. false:
    /// unknown format, nothing to draw or a failed write; the old file is then kept, and `errorText`, where
    /// given, says why.
    bool writeToFile(const QString &path, QString *errorText = nullptr) const;

private:
    friend class NSDrawingSession;

    explicit NSImage(const NSSize &size);

    /// The representation that is drawn: the one with the most pixels, the earliest of equal ones; without
    /// pixels the first. nil when there is none.
    Ref<NSImageRep> bestRepresentation() const;

    void replaceRepresentations(const Ref<NSImageRep> &replacement);

    NSSize ownSize;
    std::vector<Ref<NSImageRep>> list;
};

} // namespace KVBase
