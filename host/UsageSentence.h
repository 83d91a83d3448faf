// Says what is wrong with a command line, and names the command or option that was probably meant. One thread.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

// Returns a sentence for the error with which parsing ended.
std::string UsageSentence(const CLI::App& app, const CLI::ParseError& error);
