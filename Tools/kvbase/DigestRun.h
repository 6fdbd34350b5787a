#pragma once

#include "kvbase/Command.h"

#include <QtCore/QIODevice>

#include <functional>
#include <string>
#include <vector>

namespace kvbase
{

/// What to digest: texts, files, or standard input when there are neither.
struct DigestInputs {
    std::vector<std::string> texts;
    std::vector<std::string> files;
};

/// How to digest. Both answer the digest as text; that of a device is null when it cannot be read to its end.
struct DigestFunctions {
    std::function<QString(const QString &text)> ofText;
    std::function<QString(QIODevice &device)> ofDevice;
};

/// Adds the options that fill `inputs`.
void addDigestOptions(CLI::App &app, DigestInputs &inputs);

/// Prints a line "digest  name" for each input, or an array of objects; answers the exit code. A file that
/// cannot be read is complained about and left out.
int runDigests(const DigestInputs &inputs, const DigestFunctions &functions, const Context &context);

} // namespace kvbase
