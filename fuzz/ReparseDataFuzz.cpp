// Any bytes as what a reparse point holds: a name that comes out was in the data, and where a
// relative link leads is a path below the link's root.
#include "fuzz/FuzzInput.h"

#include "orbwatcher4/filter/ReparseData.h"

namespace
{

// Whether a part between backslashes still asks to be resolved.
bool HasDots(std::wstring_view path)
{
    while (!path.empty()) {
        const std::wstring_view name = path.substr(0, path.find(L'\\'));
        if (name == L"." || name == L"..")
            return true;
        path.remove_prefix(name.size() == path.size() ? name.size() : name.size() + 1);
    }
    return false;
}

void Resolve(const wchar_t* link, std::wstring_view root, const CString& target)
{
    const CString resolved = ResolveRelative(link, target);
    Require(resolved.View().starts_with(root));
    Require(!HasDots(resolved.View().substr(root.size())));
    Require(resolved.View().find(L'/') == std::wstring_view::npos);
    Require(resolved.View().substr(root.size()).find(L"\\\\") == std::wstring_view::npos);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ReparseTarget target;
    if (ParseReparseData(std::as_bytes(std::span(data, size)), target) != ReparseKind::Link)
        return 0;
    Require(!target.name.IsEmpty() && static_cast<std::size_t>(target.name.GetLength()) * 2 < size);
    Require(target.name.View().find(L'\0') == std::wstring_view::npos);
    Resolve(L"C:\\a\\b\\link", L"C:\\", target.name);
    Resolve(L"\\\\server\\share\\a\\link", L"\\\\server\\share\\", target.name);
    return 0;
}
