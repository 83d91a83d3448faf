#include "bench/Case.h"

#include <algorithm>
#include <string_view>

namespace
{

std::vector<const Case*>& Cases()
{
    static std::vector<const Case*> cases;
    return cases;
}

} // namespace

Case::Case(const char* name, void (*run)()) : m_name(name), m_run(run) { Cases().push_back(this); }

std::vector<const Case*> Case::All()
{
    std::vector<const Case*> cases = Cases();
    std::ranges::sort(cases, {}, [](const Case* one) { return std::string_view(one->Name()); });
    return cases;
}

const Case* Case::Find(const std::string& name)
{
    const auto found = std::ranges::find(Cases(), name, &Case::Name);
    return found == Cases().end() ? nullptr : *found;
}
