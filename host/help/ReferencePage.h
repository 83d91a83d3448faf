// docs/orbwatch.md, made of the program's own help. One thread.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

std::string ReferencePage(const CLI::App& app);
