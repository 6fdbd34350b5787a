#pragma once

#include <QtCore/QTemporaryDir>

namespace KVBase::Tests
{

/// Gives the process a HOME, XDG folders and a temporary folder of its own, a zone that is not UTC and
/// English texts, so that no test touches the real ones. Removed with the object.
class PrivateEnvironment {
public:
    PrivateEnvironment();

private:
    QTemporaryDir folder;
};

} // namespace KVBase::Tests
