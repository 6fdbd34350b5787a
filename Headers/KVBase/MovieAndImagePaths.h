#pragma once

#include <KVBase/KVExport.h>

#include <QtCore/QVariant>

#include <optional>

/// Picks the images and movies out of a list of files.
///
/// An element is a path as text or a `QUrl`, whose path is tested whatever its scheme: an address on another
/// machine is looked for on this one. Any other element is named in the log and left out. Kept elements stay
/// as they were found, in their order. nil stands for no match, never an empty list. Reads the beginnings of
/// the files.
///
/// Movies are told by the class "KVUQuickTimeMovie", looked up by name while the program runs; it must have
/// the class method `isMovieFile:`, which takes a path. Without it the two functions that need it say so in
/// the log and answer nil.
namespace KVBase::MovieAndImagePaths
{

KV_EXPORT std::optional<QVariantList> imageFilePaths(const QVariantList &paths);
KV_EXPORT std::optional<QVariantList> movieFilePaths(const QVariantList &paths);
KV_EXPORT std::optional<QVariantList> movieAndImageFilePaths(const QVariantList &paths);

} // namespace KVBase::MovieAndImagePaths
