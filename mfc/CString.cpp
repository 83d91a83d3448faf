#include "mfc/CString.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <new>
#include <stdexcept>

#ifdef _WIN32
#include <cstdarg>
#include <cstdio>
#endif

struct CString::Header {
    std::atomic<std::int32_t> sharers;
    std::int32_t length;
    std::int32_t capacity; // units without the terminator
};

namespace
{

// The text of every empty string. It is never written to or freed, and its sharers are not counted, so that empty
// strings cost nothing. Each module has one, and strings go from module to module: therefore its capacity identifies
// it, not its address.
struct EmptyBlock {
    alignas(8) std::int32_t header[3] = {0, 0, -1};
    wchar_t text[2] = {0, 0};
};
constinit EmptyBlock g_empty;

int LengthOf(const wchar_t* text) noexcept
{
    return text ? static_cast<int>(std::char_traits<wchar_t>::length(text)) : 0;
}

constexpr wchar_t LowerAscii(wchar_t unit) noexcept { return unit >= L'A' && unit <= L'Z' ? wchar_t(unit + 32) : unit; }
constexpr wchar_t UpperAscii(wchar_t unit) noexcept { return unit >= L'a' && unit <= L'z' ? wchar_t(unit - 32) : unit; }

} // namespace

wchar_t* CString::EmptyText() noexcept { return g_empty.text; }

CString::Header* CString::HeaderOf(wchar_t* text) noexcept
{
    static_assert(sizeof(Header) == sizeof(g_empty.header));
    return reinterpret_cast<Header*>(reinterpret_cast<char*>(text) - sizeof(Header));
}

wchar_t* CString::NewText(int capacity)
{
    if (capacity < 0 || static_cast<std::size_t>(capacity) > (INT_MAX - sizeof(Header)) / sizeof(wchar_t) - 1)
        throw std::bad_alloc();
    void* block = std::malloc(sizeof(Header) + (static_cast<std::size_t>(capacity) + 1) * sizeof(wchar_t));
    if (!block)
        throw std::bad_alloc();
    auto* header = new (block) Header;
    header->sharers.store(1, std::memory_order_relaxed);
    header->length = 0;
    header->capacity = capacity;
    auto* text = reinterpret_cast<wchar_t*>(static_cast<char*>(block) + sizeof(Header));
    text[0] = 0;
    return text;
}

wchar_t* CString::Share(wchar_t* text) noexcept
{
    if (HeaderOf(text)->capacity >= 0)
        HeaderOf(text)->sharers.fetch_add(1, std::memory_order_relaxed);
    return text;
}

void CString::LetGo(wchar_t* text) noexcept
{
    if (HeaderOf(text)->capacity >= 0 && HeaderOf(text)->sharers.fetch_sub(1, std::memory_order_acq_rel) == 1)
        std::free(HeaderOf(text)); // NOLINT(clang-analyzer-unix.Malloc): the empty text's capacity is below zero
}

// Makes the text this object's own, with room for at least `capacity` units.
void CString::MakeWritable(int capacity)
{
    const bool own = HeaderOf(m_text)->capacity >= 0 && HeaderOf(m_text)->sharers.load(std::memory_order_acquire) == 1;
    if (own && HeaderOf(m_text)->capacity >= capacity)
        return;
    const int length = GetLength();
    const int keep = std::min(length, capacity);
    // More room than needed, so that appending unit by unit stays linear.
    const bool grows = capacity > length && length > 0;
    const int room = grows && capacity < INT_MAX / 4 ? std::max(capacity, length + length / 2) : capacity;
    wchar_t* fresh = NewText(room);
    std::copy_n(m_text, keep, fresh);
    fresh[keep] = 0;
    HeaderOf(fresh)->length = keep;
    LetGo(m_text);
    m_text = fresh;
}

void CString::SetLength(int length) noexcept
{
    HeaderOf(m_text)->length = length;
    m_text[length] = 0;
}

CString::CString() noexcept : m_text(EmptyText()) {}
CString::CString(const wchar_t* text) : CString(text, LengthOf(text)) {}
CString::CString(std::wstring_view text) : CString(text.data(), static_cast<int>(text.size())) {}

CString::CString(const wchar_t* text, int length) : m_text(EmptyText())
{
    if (length <= 0)
        return;
    m_text = NewText(length);
    std::copy_n(text, length, m_text);
    SetLength(length);
}

CString::CString(wchar_t unit, int count) : m_text(EmptyText())
{
    if (count <= 0)
        return;
    m_text = NewText(count);
    std::fill_n(m_text, count, unit);
    SetLength(count);
}

CString::CString(const CString& other) noexcept : m_text(Share(other.m_text)) {}
CString::CString(CString&& other) noexcept : m_text(other.m_text) { other.m_text = EmptyText(); }
CString::~CString() { LetGo(m_text); }

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): the text is shared once more before it is let go
CString& CString::operator=(const CString& other) noexcept
{
    wchar_t* taken = Share(other.m_text);
    LetGo(m_text);
    m_text = taken;
    return *this;
}

CString& CString::operator=(CString&& other) noexcept
{
    std::swap(m_text, other.m_text);
    return *this;
}

CString& CString::operator=(const wchar_t* text) { return *this = CString(text); }
CString& CString::operator=(std::wstring_view text) { return *this = CString(text); }

std::wstring_view CString::View() const noexcept { return {m_text, static_cast<std::size_t>(GetLength())}; }
int CString::GetLength() const noexcept { return HeaderOf(m_text)->length; }

void CString::Empty() noexcept
{
    LetGo(m_text);
    m_text = EmptyText();
}

void CString::SetAt(int index, wchar_t unit)
{
    MakeWritable(GetLength());
    m_text[index] = unit;
}

CString& CString::Append(const wchar_t* text, int length)
{
    if (length <= 0)
        return *this;
    const int before = GetLength();
    if (length > INT_MAX - before)
        throw std::bad_alloc();
    if (text >= m_text && text <= m_text + before) {
        // The appended text is inside this string, which may move.
        const CString copy(text, length);
        return Append(copy.m_text, length);
    }
    MakeWritable(before + length);
    std::copy_n(text, length, m_text + before);
    SetLength(before + length);
    return *this;
}

CString& CString::operator+=(const CString& text) { return Append(text.m_text, text.GetLength()); }
CString& CString::operator+=(const wchar_t* text) { return Append(text, LengthOf(text)); }
CString& CString::operator+=(std::wstring_view text) { return Append(text.data(), static_cast<int>(text.size())); }
CString& CString::operator+=(wchar_t unit)
{
    const int before = GetLength();
    MakeWritable(before + 1);
    m_text[before] = unit;
    SetLength(before + 1);
    return *this;
}

CString CString::Left(int count) const { return Mid(0, count); }
CString CString::Right(int count) const { return Mid(std::max(0, GetLength() - std::max(0, count))); }
CString CString::Mid(int first) const { return Mid(first, GetLength()); }

CString CString::Mid(int first, int count) const
{
    first = std::clamp(first, 0, GetLength());
    count = std::clamp(count, 0, GetLength() - first);
    return count == GetLength() ? *this : CString(m_text + first, count);
}

int CString::Find(wchar_t unit, int start) const noexcept
{
    if (start < 0 || start > GetLength())
        return -1;
    const auto at = View().find(unit, static_cast<std::size_t>(start));
    return at == std::wstring_view::npos ? -1 : static_cast<int>(at);
}

int CString::Find(const wchar_t* text, int start) const noexcept
{
    if (start < 0 || start > GetLength())
        return -1;
    const auto at = View().find(text, static_cast<std::size_t>(start));
    return at == std::wstring_view::npos ? -1 : static_cast<int>(at);
}

int CString::ReverseFind(wchar_t unit) const noexcept
{
    const auto at = View().rfind(unit);
    return at == std::wstring_view::npos ? -1 : static_cast<int>(at);
}

int CString::Replace(const wchar_t* from, const wchar_t* to)
{
    const std::wstring_view what = from ? from : L"";
    if (what.empty())
        return 0;
    const std::wstring_view text = View();
    std::size_t at = text.find(what);
    if (at == std::wstring_view::npos)
        return 0;
    CString result;
    std::size_t copied = 0;
    int count = 0;
    for (; at != std::wstring_view::npos; at = text.find(what, copied), ++count) {
        result += text.substr(copied, at - copied);
        result += to;
        copied = at + what.size();
    }
    result += text.substr(copied);
    *this = std::move(result);
    return count;
}

int CString::Remove(wchar_t unit)
{
    if (Find(unit) < 0)
        return 0;
    MakeWritable(GetLength());
    wchar_t* end = std::remove(m_text, m_text + GetLength(), unit);
    const int removed = static_cast<int>(m_text + GetLength() - end);
    SetLength(static_cast<int>(end - m_text));
    return removed;
}

CString& CString::TrimRight(wchar_t unit)
{
    int length = GetLength();
    while (length > 0 && m_text[length - 1] == unit)
        --length;
    return *this = Left(length);
}

CString& CString::TrimLeft(wchar_t unit)
{
    int first = 0;
    while (first < GetLength() && m_text[first] == unit)
        ++first;
    return *this = Mid(first);
}

CString& CString::MakeLower()
{
    if (IsEmpty())
        return *this;
    MakeWritable(GetLength());
    std::transform(m_text, m_text + GetLength(), m_text, LowerAscii);
    return *this;
}

CString& CString::MakeUpper()
{
    if (IsEmpty())
        return *this;
    MakeWritable(GetLength());
    std::transform(m_text, m_text + GetLength(), m_text, UpperAscii);
    return *this;
}

int CString::Compare(const wchar_t* other) const noexcept
{
    return View().compare(other ? std::wstring_view(other) : std::wstring_view());
}

#ifdef _WIN32

namespace
{

CString FormatText(const wchar_t* format, va_list arguments)
{
    va_list counting;
    va_copy(counting, arguments);
    const int length = _vscwprintf(format, counting);
    va_end(counting);
    if (length < 0)
        throw std::invalid_argument("format refused");
    CString text;
    _vsnwprintf(text.GetBuffer(length), static_cast<std::size_t>(length) + 1, format, arguments);
    text.ReleaseBuffer(length);
    return text;
}

} // namespace

void CString::Format(const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    CString text = FormatText(format, arguments);
    va_end(arguments);
    *this = std::move(text);
}

void CString::AppendFormat(const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const CString text = FormatText(format, arguments);
    va_end(arguments);
    *this += text;
}

#endif

wchar_t* CString::GetBuffer(int length)
{
    MakeWritable(std::max(length, GetLength()));
    return m_text;
}

void CString::ReleaseBuffer(int length)
{
    if (HeaderOf(m_text)->capacity < 0)
        return;
    SetLength(length < 0 ? LengthOf(m_text) : std::min<int>(length, HeaderOf(m_text)->capacity));
}

CString operator+(const CString& left, const CString& right) { return CString(left) += right; }
CString operator+(const CString& left, const wchar_t* right) { return CString(left) += right; }
CString operator+(const wchar_t* left, const CString& right) { return CString(left) += right; }
CString operator+(const CString& left, wchar_t right) { return CString(left) += right; }
