#include "orbwatcher4/capi/Border.h"

#include <cwchar>

namespace
{

// It has no destructor, so nothing runs at the end of a thread that another compiler's runtime has made.
constexpr std::size_t FailureCapacity = 512;
thread_local wchar_t t_failure[FailureCapacity];

} // namespace

void ForgetFailure() noexcept { t_failure[0] = 0; }

OrbResult NoteFailure(OrbResult code, std::wstring_view why) noexcept
{
    PutText(t_failure, why.empty() ? std::wstring_view(OrbResultText(code)) : why);
    return code;
}

// The texts of exceptions are ASCII: those of the compiler's library, and our own.
OrbResult NoteFailure(OrbResult code, const std::exception& error) noexcept
{
    const std::string_view why = error.what();
    const std::size_t length = std::min(why.size(), FailureCapacity - 1);
    std::copy_n(why.begin(), length, t_failure);
    t_failure[length] = 0;
    return why.empty() ? NoteFailure(code) : code;
}

std::wstring OptionalText(const wchar_t* text)
{
    if (!text)
        return {};
    const std::size_t length = wcsnlen(text, ORB_LONGEST_TEXT + 1);
    if (length > ORB_LONGEST_TEXT)
        throw Refused{ORB_TEXT_TOO_LONG};
    return {text, length};
}

std::wstring RequiredText(const wchar_t* text)
{
    std::wstring copy = OptionalText(&Required(text));
    if (copy.empty())
        throw Refused{ORB_BAD_ARGUMENT, L"a text is empty"};
    return copy;
}

OrbResult GiveText(std::wstring_view text, wchar_t* buffer, uint32_t capacity, uint32_t* needed)
{
    if (!buffer && capacity != 0)
        throw Refused{ORB_BAD_ARGUMENT, L"a buffer with a capacity is null"};
    if (needed)
        *needed = static_cast<uint32_t>(text.size() + 1);
    const bool fits = text.size() < capacity;
    if (fits)
        std::copy(text.begin(), text.end(), buffer);
    if (capacity != 0)
        buffer[fits ? text.size() : 0] = 0;
    return fits ? ORB_OK : ORB_BUFFER_TOO_SMALL;
}

OrbResult ORB_CALL OrbLastFailure(wchar_t* buffer, uint32_t capacity, uint32_t* needed)
{
    if (!buffer && capacity != 0)
        return ORB_BAD_ARGUMENT;
    return GiveText(t_failure, buffer, capacity, needed);
}
