#include "tests/support/SourceTree.h"

#include "tests/support/EnvironmentText.h"

std::filesystem::path SourceTree()
{
    const std::wstring named = EnvironmentText(L"ORB_TEST_SOURCES");
    return named.empty() ? std::filesystem::path(ORB_SOURCE_TREE) : std::filesystem::path(named);
}
