/// @file
/// CString: the string in which the exported interface is written.
///
/// One pointer wide. The pointer leads to the characters; length, capacity and
/// the count of sharers stand in front of them. Copies share until one of them
/// is changed. Different objects may be used from different threads at once even
/// when they share their characters; one object may not.
///
/// Each element holds one 16-bit unit, also where wchar_t is wider.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

/// A text of 16-bit units, with a zero behind them. What throws does so for want of memory only.
class CString
{
public:
    /// The empty text.
    CString() noexcept;
    /// A copy, up to the zero; null counts as empty.
    CString(const wchar_t* text);
    /// A copy of so many units.
    CString(const wchar_t* text, int length);
    /// A copy of all units.
    explicit CString(std::wstring_view text);
    /// The unit, so many times.
    explicit CString(wchar_t unit, int count = 1);
    /// Shares the text.
    CString(const CString& other) noexcept;
    /// The other one is empty afterwards.
    CString(CString&& other) noexcept;
    /// Lets go of the text.
    ~CString();

    /// Shares the text.
    CString& operator=(const CString& other) noexcept;
    /// Takes the text over.
    CString& operator=(CString&& other) noexcept;
    /// A copy, up to the zero; null counts as empty.
    CString& operator=(const wchar_t* text);
    /// A copy of all units.
    CString& operator=(std::wstring_view text);

    /// Never null; valid until the text is changed or goes.
    operator const wchar_t*() const noexcept { return m_text; }
    /// As the conversion.
    const wchar_t* GetString() const noexcept { return m_text; }
    /// All units, valid as long as the pointer.
    std::wstring_view View() const noexcept;
    /// In units, without the zero.
    int GetLength() const noexcept;
    /// True for a text of no unit.
    bool IsEmpty() const noexcept { return GetLength() == 0; }
    /// Makes it the empty text.
    void Empty() noexcept;

    /// One unit; the index may be the length (the terminator).
    wchar_t GetAt(int index) const noexcept { return m_text[index]; }
    /// As GetAt.
    wchar_t operator[](int index) const noexcept { return m_text[index]; }
    /// The index lies below the length.
    void SetAt(int index, wchar_t unit);

    /// So many units more.
    CString& Append(const wchar_t* text, int length);
    /// Appends.
    CString& operator+=(const CString& text);
    /// Appends up to the zero; nothing for null.
    CString& operator+=(const wchar_t* text);
    /// Appends all units.
    CString& operator+=(std::wstring_view text);
    /// Appends one unit.
    CString& operator+=(wchar_t unit);

    /// The first units; all of them when there are fewer.
    CString Left(int count) const;
    /// The last units; all of them when there are fewer.
    CString Right(int count) const;
    /// From this position on; empty behind the end.
    CString Mid(int first) const;
    /// So many units from this position on, as far as there are any.
    CString Mid(int first, int count) const;

    /// The first place of the unit, from `start` on. Positions are in units; -1 when there is none.
    int Find(wchar_t unit, int start = 0) const noexcept;
    /// The first place of the whole text, from `start` on.
    int Find(const wchar_t* text, int start = 0) const noexcept;
    /// The last place of the unit; -1 when there is none.
    int ReverseFind(wchar_t unit) const noexcept;

    /// Replaces every occurrence, exact case; returns how many there were.
    int Replace(const wchar_t* from, const wchar_t* to);
    /// Removes every occurrence of the unit; returns how many there were.
    int Remove(wchar_t unit);
    /// Takes these units away from the end.
    CString& TrimRight(wchar_t unit);
    /// Takes these units away from the beginning.
    CString& TrimLeft(wchar_t unit);

    /// Changes the letters A to Z only, whatever locale the host has set.
    CString& MakeLower();
    /// Changes the letters a to z only.
    CString& MakeUpper();

    /// By units: below 0, 0 or above 0.
    int Compare(const wchar_t* other) const noexcept;

#ifdef _WIN32
    /// Microsoft wide formats: %s is wide text, %I64d a 64-bit integer.
    /// A format that the C runtime refuses throws std::invalid_argument.
    void Format(const wchar_t* format, ...);
    /// As Format, behind the text.
    void AppendFormat(const wchar_t* format, ...);
#endif

    /// A buffer of at least `length` units and a terminator, to be written to and
    /// given back with ReleaseBuffer. Nothing else may be called in between.
    wchar_t* GetBuffer(int length);
    /// -1: the text ends at the first zero.
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

/// Both, one behind the other.
CString operator+(const CString& left, const CString& right);
/// Both, one behind the other.
CString operator+(const CString& left, const wchar_t* right);
/// Both, one behind the other.
CString operator+(const wchar_t* left, const CString& right);
/// The text and one unit.
CString operator+(const CString& left, wchar_t right);

/// By units, exact case.
inline bool operator==(const CString& l, const CString& r) noexcept { return l.View() == r.View(); }
/// By units, exact case.
inline bool operator==(const CString& l, const wchar_t* r) noexcept { return l.Compare(r) == 0; }
/// By units, exact case.
inline bool operator!=(const CString& l, const CString& r) noexcept { return !(l == r); }
/// By units, exact case.
inline bool operator!=(const CString& l, const wchar_t* r) noexcept { return !(l == r); }
/// True when `l` comes first: by units, exact case.
inline bool operator<(const CString& l, const CString& r) noexcept { return l.View() < r.View(); }

/// So that tables take it as a key: exact case.
template <>
struct std::hash<CString> {
    /// The hash of its units.
    std::size_t operator()(const CString& text) const noexcept { return std::hash<std::wstring_view>{}(text.View()); }
};
