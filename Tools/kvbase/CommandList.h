#pragma once

#include "kvbase/Command.h"

#include <string>
#include <vector>

namespace kvbase
{

struct CommandEntry {
    std::string name;
    std::string description;
    CommandBuilder builder;
};

/// Every subcommand that registered itself, in no particular order.
std::vector<CommandEntry> &commandList();

} // namespace kvbase
