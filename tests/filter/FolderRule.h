// A folder rule with sub-folders, as most tests want one.
#pragma once

#include "orbwatcher4/filter/Filter.h"

inline FilterPtr FolderRule(const wchar_t* path, WatcherEnum::IncEx kind = WatcherEnum::Include,
                            std::uint32_t flags = 0)
{
    auto rule = std::make_shared<Filter>();
    rule->path = path;
    rule->incEx = kind;
    rule->exclude = kind == WatcherEnum::Exclude;
    rule->type = 1;
    rule->includeSub = true;
    rule->flags = flags;
    return rule;
}
