// The sources of this project, for tests that compare pages and sources.
#pragma once

#include <filesystem>

// Returns the folder of the sources that this program was built from, or the one that ORB_TEST_SOURCES names.
std::filesystem::path SourceTree();
