// Shell completion made from the command table itself, so that it follows
// every command, flag and setting the tool gains.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
}

namespace dslrctl {

// A setting's name and the values it can be given without asking a camera
// (empty when only the camera knows them).
using SettingValues = std::vector<std::pair<std::string, std::vector<std::string>>>;

// The bash completion script for the parsed command table.
std::string bashCompletion(const CLI::App& app, const SettingValues& settings);

}  // namespace dslrctl
