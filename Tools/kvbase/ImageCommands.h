#pragma once

#include "kvbase/Command.h"

#include <KVBase/Platform/MacTypes.h>
#include <KVBase/Platform/NSGeometry.h>
#include <KVBase/Platform/NSImage.h>

#include <QtCore/QJsonObject>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kvbase
{

/// A subcommand of `kvbase image`; makes itself known by an object at file scope, like the subcommands
/// themselves.
class ImageCommandRegistration {
public:
    ImageCommandRegistration(const char *name, const char *description, CommandBuilder builder);
};

/// The options of a command that makes a picture of nothing, and the sides that it may have.
struct MadePicture {
    std::string output;
    int width = 0;
    int height = 0;

    /// Adds -o, --width and --height; sides that are 0 so far must be given.
    void addTo(CLI::App &app, int shortest, int longest);

    /// Writes the picture to the output, and with --json what was written. nil: it could not be made.
    int write(const KVBase::Ref<KVBase::NSImage> &image, const Context &context) const;
};

/// Width and height as "400x300"; nothing for another text.
std::optional<KVBase::NSSize> parsedSize(const std::string &text);

/// The options of a command that makes one picture of each file.
struct ImageFiles {
    std::vector<std::string> files;
    std::string output;

    /// Adds FILE... and -o.
    void addTo(CLI::App &app);
};

/// What a command does with one picture; nil: it could not be done.
using ImageWork = std::function<KVBase::Ref<KVBase::NSImage>(const KVBase::Ref<KVBase::NSImage> &)>;

/// Reads each file, works on it and writes the result: to the output itself for one file, else into it as a
/// folder, under the file's own name; a second file of the same name fails. A file that fails is named and
/// the others go on; the exit code tells it.
int runOnImages(const ImageFiles &given, const Context &context, const ImageWork &work);

} // namespace kvbase
