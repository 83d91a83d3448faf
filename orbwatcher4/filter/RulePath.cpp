#include "orbwatcher4/filter/RulePath.h"

#include "support/CaseFold.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

using namespace std::string_view_literals;

namespace
{

bool IsLetter(wchar_t unit) { return (unit >= L'A' && unit <= L'Z') || (unit >= L'a' && unit <= L'z'); }
bool IsSeparator(wchar_t unit) { return unit == L'\\' || unit == L'/'; }
bool IsDotOrSpace(wchar_t unit) { return unit == L'.' || unit == L' '; }

// Units that no name holds.
bool IsImpossible(wchar_t unit) { return unit < 32 || L"*?\"<>|:"sv.find(unit) != std::wstring_view::npos; }

// Units that ask for a closer look at the path.
constexpr auto Closely = [] {
    std::array<bool, 128> closely = {};
    std::fill(closely.begin(), closely.begin() + 32, true);
    for (const wchar_t unit : L"/*?\"<>|:~&"sv)
        closely[static_cast<std::size_t>(unit)] = true;
    return closely;
}();

bool ArePlainNames(std::wstring_view names)
{
    wchar_t before = L'\\';
    for (const wchar_t unit : names) {
        if (unit == L'\\' && (before == L'\\' || IsDotOrSpace(before)))
            return false;
        if (static_cast<std::uint32_t>(unit) < Closely.size() && Closely[static_cast<std::size_t>(unit)])
            return false;
        before = unit;
    }
    return !IsDotOrSpace(before);
}

bool IsPlainShare(std::wstring_view names)
{
    const std::size_t server = names.find(L'\\');
    return server != 0 && server != names.npos && server + 1 < names.size() && ArePlainNames(names);
}

// A written path, cut into the part that stays and the names behind it.
struct Cut {
    RulePath::Refusal refusal = RulePath::Refusal::None;
    std::wstring root; // C:\, \\server\share or \\server\share\ .
    std::wstring_view names;
    bool exact = false; // the names stand behind the prefix that turns the system's rewriting off
};

Cut Refused(RulePath::Refusal refusal) { return {refusal, {}, {}, false}; }

std::size_t EndOfName(std::wstring_view text)
{
    return static_cast<std::size_t>(std::find_if(text.begin(), text.end(), IsSeparator) - text.begin());
}
std::wstring_view WithoutSeparators(std::wstring_view text)
{
    while (!text.empty() && IsSeparator(text.front()))
        text.remove_prefix(1);
    return text;
}

Cut CutDrive(std::wstring_view path)
{
    if (path.size() > 2 && !IsSeparator(path[2]))
        return Refused(RulePath::Refusal::NoBackslash);
    Cut cut;
    cut.root = std::wstring(path.substr(0, 2)) + L'\\';
    cut.names = path.substr(2);
    return cut;
}

Cut CutShare(std::wstring_view path)
{
    const std::wstring_view server = path.substr(0, EndOfName(path));
    const std::wstring_view rest = WithoutSeparators(path.substr(server.size()));
    const std::wstring_view share = rest.substr(0, EndOfName(rest));
    if (server.empty() || share.empty())
        return Refused(RulePath::Refusal::NoShare);
    Cut cut;
    cut.root = L"\\\\" + std::wstring(server) + L'\\' + std::wstring(share);
    cut.names = rest.substr(share.size());
    if (!cut.names.empty())
        cut.root += L'\\';
    return cut;
}

bool HasDrive(std::wstring_view path) { return path.size() > 1 && IsLetter(path[0]) && path[1] == L':'; }

// Behind \\?\ .
Cut CutPrefixed(std::wstring_view path, bool exact)
{
    Cut cut = Refused(RulePath::Refusal::Device);
    if (HasDrive(path))
        cut = CutDrive(path);
    else if (BeginsNoCase(path, L"UNC") && path.size() > 3 && IsSeparator(path[3]))
        cut = CutShare(path.substr(4));
    else if (BeginsNoCase(path, L"Volume{"))
        return Refused(RulePath::Refusal::Volume);
    cut.exact = exact;
    return cut;
}

Cut CutPath(std::wstring_view path)
{
    if (HasDrive(path))
        return CutDrive(path);
    if (path.empty() || !IsSeparator(path[0]))
        return Refused(RulePath::Refusal::Relative);
    if (path.size() == 1 || !IsSeparator(path[1]))
        return Refused(RulePath::Refusal::NoDrive);
    if (path.size() > 3 && IsSeparator(path[3])) {
        if (path[2] == L'?')
            return CutPrefixed(path.substr(4), path.starts_with(L"\\\\?\\"));
        if (path[2] == L'.')
            return Refused(RulePath::Refusal::Device);
    }
    return CutShare(path.substr(2));
}

struct Names {
    std::vector<std::wstring_view> list; // without "." and ".."
    bool endInSeparator = false;
};

Names Resolve(std::wstring_view text)
{
    Names names;
    while (!text.empty()) {
        const std::wstring_view name = text.substr(0, EndOfName(text));
        text.remove_prefix(name.size());
        names.endInSeparator = !text.empty();
        if (name == L".." && !names.list.empty())
            names.list.pop_back();
        else if (!name.empty() && name != L"." && name != L"..")
            names.list.push_back(name);
        text = WithoutSeparators(text);
    }
    return names;
}

// Returns what the system makes of a name: in the middle of a path it cuts one dot, at the end all dots and spaces.
std::wstring_view Trimmed(std::wstring_view name, bool atTheEnd)
{
    if (atTheEnd)
        return name.substr(0, name.find_last_not_of(L". ") + 1);
    const bool dotsAlone = name.find_first_not_of(L'.') == name.npos;
    return name.ends_with(L'.') && !dotsAlone ? name.substr(0, name.size() - 1) : name;
}

// Six units at most before the tilde and digits, and eight in all; three at most behind the dot.
bool LooksShort(std::wstring_view name)
{
    const std::wstring_view base = name.substr(0, name.find(L'.'));
    const std::size_t tilde = base.rfind(L'~');
    if (tilde == base.npos || tilde == 0 || tilde + 1 == base.size() || base.size() > 8)
        return false;
    if (base.find_first_not_of(L"0123456789", tilde + 1) != base.npos)
        return false;
    const std::wstring_view ending = base.size() == name.size() ? L""sv : name.substr(base.size() + 1);
    return ending.size() <= 3 && ending.find(L'.') == ending.npos && name.find(L' ') == name.npos;
}

CString TextOf(const std::wstring& text) { return CString(std::wstring_view(text)); }

class Forming
{
public:
    Forming(RulePath& formed, const Cut& cut, RulePathDisk* disk)
        : m_formed(formed),
          m_exact(cut.exact),
          m_disk(disk),
          m_text(cut.root)
    {
    }

    void Run(std::wstring_view text)
    {
        const Names names = Resolve(text);
        for (std::size_t i = 0; i < names.list.size(); ++i)
            Add(names.list[i], i + 1 == names.list.size() && !names.endInSeparator);
        if (names.endInSeparator && !m_text.ends_with(L'\\'))
            m_text += L'\\';
        m_formed.text = TextOf(m_text);
    }

private:
    void Add(std::wstring_view name, bool atTheEnd)
    {
        if (!m_text.ends_with(L'\\'))
            m_text += L'\\';
        m_formed.impossibleName = std::any_of(name.begin(), name.end(), IsImpossible) || m_formed.impossibleName;
        m_text += IsDotOrSpace(name.back()) ? Ended(name, atTheEnd)
                  : LooksShort(name)        ? Long(name)
                                            : std::wstring(name);
    }

    // A folder may have been made with such a name by programs that use the prefix.
    std::wstring Ended(std::wstring_view name, bool atTheEnd)
    {
        const std::wstring_view trimmed = m_exact ? name : Trimmed(name, atTheEnd);
        // Some systems also find the trimmed name.
        if (EqualNoCase(NameOf(name), name))
            return std::wstring(name);
        m_formed.doubtfulEnd = m_formed.doubtfulEnd || trimmed.empty() || IsDotOrSpace(trimmed.back());
        return std::wstring(trimmed);
    }

    std::wstring Long(std::wstring_view name)
    {
        const std::wstring known = NameOf(name);
        m_formed.unknownShortName = m_formed.unknownShortName || known.empty();
        return known.empty() || EqualNoCase(known, name) ? std::wstring(name) : known;
    }

    std::wstring NameOf(std::wstring_view name)
    {
        if (!m_disk || std::any_of(name.begin(), name.end(), IsImpossible))
            return {};
        return std::wstring(m_disk->NameOf(TextOf(m_text + std::wstring(name))).View());
    }

    RulePath& m_formed;
    const bool m_exact;
    RulePathDisk* const m_disk;
    std::wstring m_text;
};

} // namespace

bool IsPlainRulePath(std::wstring_view written)
{
    if (written.size() > 2 && HasDrive(written) && written[2] == L'\\')
        return ArePlainNames(written.substr(3)) && (written.size() == 3 || written[3] != L'\\');
    return written.starts_with(L"\\\\") && IsPlainShare(written.substr(2));
}

RulePath FormRulePath(std::wstring_view written, RulePathDisk* disk)
{
    const Cut cut = CutPath(written);
    RulePath formed;
    formed.refusal = cut.refusal;
    formed.text = CString(written);
    if (cut.refusal == RulePath::Refusal::None)
        Forming(formed, cut, disk).Run(cut.names);
    return formed;
}

CString ComparableRulePath(const CString& written, RulePathDisk* disk)
{
    return IsPlainRulePath(written.View()) ? written : FormRulePath(written.View(), disk).text;
}

const wchar_t* WhyRefused(RulePath::Refusal refusal)
{
    switch (refusal) {
    case RulePath::Refusal::None:
        break;
    case RulePath::Refusal::Relative:
        return L"it begins with neither a drive nor a share; write the whole path, as in C:\\docs";
    case RulePath::Refusal::NoDrive:
        return L"it names no drive; write it with its letter, as in C:\\docs";
    case RulePath::Refusal::NoBackslash:
        return L"a path with a drive needs a backslash behind the colon, as in C:\\docs";
    case RulePath::Refusal::NoShare:
        return L"it does not name a server and a share; write \\\\server\\share";
    case RulePath::Refusal::Device:
        return L"it names a device and not a folder or a file; write the drive's letter, as in C:\\docs";
    case RulePath::Refusal::Volume:
        return L"it names a volume by its identity; write the drive's letter, and the volume's serial number as vid";
    }
    return L"";
}
