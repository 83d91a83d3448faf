// Makes docs/orbwatch.md from the program's own help. One thread.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

std::string ReferencePage(const CLI::App& app);
