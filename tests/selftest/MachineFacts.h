// The facts of the machine that a reader of the report has to know. Any thread.
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

using MachineFacts = std::vector<std::pair<std::string, std::string>>; // name and value

// `work` is the folder in which the tests run; it must exist.
MachineFacts ReadMachineFacts(const std::filesystem::path& work);
