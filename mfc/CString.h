// CString: the string in which the exported interface is written.
//
// One pointer wide. The pointer leads to the characters; length, capacity and
// the count of sharers stand in front of them. Copies share until one of them
// is changed. Different objects may be used from different threads at once even
// when they share their characters; one object may not.
//
// Each element holds one 16-bit unit, also where wchar_t is wider.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

class CString
{
public:
    CString() noexcept;
    CString(const wchar_t* text);
    CString(const wchar_t* text, int length);
    explicit CString(std::wstring_view text);
    explicit CString(wchar_t unit, int count = 1);
    CString(const CString& other) noexcept;
    CString(CString&& other) noexcept;
    ~CString();

    CString& operator=(const CString& other) noexcept;
    CString& operator=(CString&& other) noexcept;
    CString& operator=(const wchar_t* text);
    CString& operator=(std::wstring_view text);

    operator const wchar_t*() const noexcept { return m_text; }
    const wchar_t* GetString() const noexcept { return m_text; }
    std::wstring_view View() const noexcept;
    int GetLength() const noexcept;
    bool IsEmpty() const noexcept { return GetLength() == 0; }
    void Empty() noexcept;

    // Reading one unit; the index may be the length (the terminator).
    wchar_t GetAt(int index) const noexcept { return m_text[index]; }
    wchar_t operator[](int index) const noexcept { return m_text[index]; }
    void SetAt(int index, wchar_t unit);

    CString& Append(const wchar_t* text, int length);
    CString& operator+=(const CString& text);
    CString& operator+=(const wchar_t* text);
    CString& operator+=(std::wstring_view text);
    CString& operator+=(wchar_t unit);

    CString Left(int count) const;
    CString Right(int count) const;
    CString Mid(int first) const;
    CString Mid(int first, int count) const;

    // Positions in units; -1 when there is none.
    int Find(wchar_t unit, int start = 0) const noexcept;
    int Find(const wchar_t* text, int start = 0) const noexcept;
    int ReverseFind(wchar_t unit) const noexcept;

    // Replaces every occurrence, exact case; returns how many there were.
    int Replace(const wchar_t* from, const wchar_t* to);
    // Removes every occurrence of the unit; returns how many there were.
    int Remove(wchar_t unit);
    CString& TrimRight(wchar_t unit);
    CString& TrimLeft(wchar_t unit);

    // Change the letters A to Z only, whatever locale the host has set.
    CString& MakeLower();
    CString& MakeUpper();

    int Compare(const wchar_t* other) const noexcept;

#ifdef _WIN32
    // Microsoft wide formats: %s is wide text, %I64d a 64-bit integer.
    // A format that the C runtime refuses throws std::invalid_argument.
    void Format(const wchar_t* format, ...);
    void AppendFormat(const wchar_t* format, ...);
#endif

    // A buffer of at least `length` units and a terminator, to be written to and
    // given back with ReleaseBuffer. Nothing else may be called in between.
    wchar_t* GetBuffer(int length);
    // -1: the text ends at the first zero.
    void ReleaseBuffer(int length = -1);

private:
    struct Header;
    static wchar_t* EmptyText() noexcept;
    static wchar_t* NewText(int capacity);
    static Header* HeaderOf(wchar_t* text) noexcept;
    static wchar_t* Share(wchar_t* text) noexcept;
    static void LetGo(wchar_t* text) noexcept;
    void MakeWritable(int capacity);
    void SetLength(int length) noexcept;

    wchar_t* m_text;
};

static_assert(sizeof(CString) == sizeof(void*));

CString operator+(const CString& left, const CString& right);
CString operator+(const CString& left, const wchar_t* right);
CString operator+(const wchar_t* left, const CString& right);
CString operator+(const CString& left, wchar_t right);

inline bool operator==(const CString& l, const CString& r) noexcept { return l.View() == r.View(); }
inline bool operator==(const CString& l, const wchar_t* r) noexcept { return l.Compare(r) == 0; }
inline bool operator!=(const CString& l, const CString& r) noexcept { return !(l == r); }
inline bool operator!=(const CString& l, const wchar_t* r) noexcept { return !(l == r); }
inline bool operator<(const CString& l, const CString& r) noexcept { return l.View() < r.View(); }

template <>
struct std::hash<CString> {
    std::size_t operator()(const CString& text) const noexcept { return std::hash<std::wstring_view>{}(text.View()); }
};
