#include "bench/FileTree.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace
{

constexpr int folders = 1000;

// The tenth, twentieth, ... folder holds the nine after it.
std::wstring FolderOf(const FileTree& tree, int number)
{
    const std::wstring outer = tree.root.GetString() + (L"\\part " + std::to_wstring(number / 10));
    return number % 10 == 0 ? outer : outer + L"\\chapter " + std::to_wstring(number % 10);
}

void Make(const FileTree& tree)
{
    for (int number = 0; number < folders; ++number)
        std::filesystem::create_directories(FolderOf(tree, number));
    for (const CString& file : tree.Files()) {
        std::ofstream out(std::filesystem::path(file.GetString()), std::ios::binary);
        out << "page";
        if (!out.flush())
            throw std::runtime_error("the tree cannot be made");
    }
}

} // namespace

std::vector<CString> FileTree::Files() const
{
    std::vector<CString> all;
    for (int number = 0; number < folders; ++number)
        for (int page = 0; page < files / folders; ++page)
            all.emplace_back((FolderOf(*this, number) + L"\\page " + std::to_wstring(page) + L".txt").c_str());
    return all;
}

FileTree TreeOf(int files)
{
    const std::filesystem::path root = std::filesystem::absolute("tree of " + std::to_string(files));
    const std::filesystem::path whole = root.wstring() + L" is whole";
    FileTree tree;
    tree.root = root.c_str();
    tree.folders = folders;
    tree.files = files;
    if (!std::filesystem::exists(whole)) {
        Make(tree);
        std::ofstream{whole};
    }
    return tree;
}

FilterPtr RuleFor(const FileTree& tree)
{
    auto rule = std::make_shared<Filter>();
    rule->path = tree.root + L'\\';
    rule->type = 1;
    rule->incEx = WatcherEnum::Include;
    rule->includeSub = true;
    return rule;
}
