#pragma once

#include <cstdlib>
#include <string>
#include <unistd.h>

/// A folder in memory, so that the disk has no say; with a HOME of its own, so that no setting of the user's
/// has. It goes with the process.
inline const std::string &scratchFolder()
{
    static const std::string *const made = [] {
        std::string name = access("/dev/shm", W_OK) == 0 ? "/dev/shm/kvbench-XXXXXX" : "/tmp/kvbench-XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
            std::abort();
        setenv("HOME", name.c_str(), 1);
        setenv("XDG_CONFIG_HOME", name.c_str(), 1);
        std::atexit([] { (void)std::system(("rm -rf '" + scratchFolder() + "'").c_str()); });
        return new std::string(name);
    }();
    return *made;
}
