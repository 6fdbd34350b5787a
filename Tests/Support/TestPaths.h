#pragma once

#include <QtCore/QString>

namespace KVBase::Tests
{

/// The folder of the tests' sample files.
QString dataFolder();

/// The folder of the helper programs and of `kvbase`.
QString programFolder();

/// The folder of the shared objects that tests load.
QString pluginFolder();

/// The root of the source tree, for the tests that read it.
QString sourceFolder();

/// A folder of this test process alone, emptied when the process ends. HOME and the XDG folders lie in it.
QString scratchFolder();

} // namespace KVBase::Tests
