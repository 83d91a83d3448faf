/// @file
/// CString: the string class of the exported interface.
///
/// An object is one pointer wide. The pointer leads to the characters; length, capacity and the count of sharers are in
/// front of them. Copies share the characters until one of them is changed. Several threads may use different objects
/// at once, even when these share their characters; one object may not be used so.
///
/// Each element holds one 16-bit unit, also where wchar_t is wider.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

/// A text of 16-bit units, with a zero behind them. Functions throw only when memory runs out; Format and AppendFormat
/// also throw for a refused format.
class CString
{
public:
    /// Makes the empty text.
    CString() noexcept;
    /// Copies the text up to the zero; null counts as empty.
    CString(const wchar_t* text);
    /// Copies `length` units.
    CString(const wchar_t* text, int length);
    /// Copies all units.
    explicit CString(std::wstring_view text);
    /// Repeats the unit `count` times.
    explicit CString(wchar_t unit, int count = 1);
    /// Shares the text.
    CString(const CString& other) noexcept;
    /// Takes the text over; `other` is empty afterwards.
    CString(CString&& other) noexcept;
    /// Releases the text.
    ~CString();

    /// Shares the text.
    CString& operator=(const CString& other) noexcept;
    /// Takes the text over.
    CString& operator=(CString&& other) noexcept;
    /// Copies the text up to the zero; null counts as empty.
    CString& operator=(const wchar_t* text);
    /// Copies all units.
    CString& operator=(std::wstring_view text);

    /// Returns the text; never null, valid until the text is changed or destroyed.
    operator const wchar_t*() const noexcept { return m_text; }
    /// Returns the same as the conversion.
    const wchar_t* GetString() const noexcept { return m_text; }
    /// Returns all units; valid as long as the pointer.
    std::wstring_view View() const noexcept;
    /// Returns the length in units, without the zero.
    int GetLength() const noexcept;
    /// Returns true for a text without units.
    bool IsEmpty() const noexcept { return GetLength() == 0; }
    /// Makes it the empty text.
    void Empty() noexcept;

    /// Returns one unit; the index may be the length (the terminator).
    wchar_t GetAt(int index) const noexcept { return m_text[index]; }
    /// Returns the same as GetAt.
    wchar_t operator[](int index) const noexcept { return m_text[index]; }
    /// Sets one unit. The index must be below the length.
    void SetAt(int index, wchar_t unit);

    /// Appends `length` units.
    CString& Append(const wchar_t* text, int length);
    /// Appends a text.
    CString& operator+=(const CString& text);
    /// Appends up to the zero; nothing for null.
    CString& operator+=(const wchar_t* text);
    /// Appends all units.
    CString& operator+=(std::wstring_view text);
    /// Appends one unit.
    CString& operator+=(wchar_t unit);

    /// Returns the first units; all of them when there are fewer.
    CString Left(int count) const;
    /// Returns the last units; all of them when there are fewer.
    CString Right(int count) const;
    /// Returns the units from this position on; empty behind the end.
    CString Mid(int first) const;
    /// Returns up to `count` units from this position on.
    CString Mid(int first, int count) const;

    /// Returns the first place of the unit from `start` on. Positions are in units; -1 when there is none.
    int Find(wchar_t unit, int start = 0) const noexcept;
    /// Returns the first place of the whole text from `start` on; -1 when there is none.
    int Find(const wchar_t* text, int start = 0) const noexcept;
    /// Returns the last place of the unit; -1 when there is none.
    int ReverseFind(wchar_t unit) const noexcept;

    /// Replaces every occurrence, exact case; returns how many there were.
    int Replace(const wchar_t* from, const wchar_t* to);
    /// Removes every occurrence of the unit; returns how many there were.
    int Remove(wchar_t unit);
    /// Removes these units from the end.
    CString& TrimRight(wchar_t unit);
    /// Removes these units from the beginning.
    CString& TrimLeft(wchar_t unit);

    /// Changes the letters A to Z only, whatever locale the program has set.
    CString& MakeLower();
    /// Changes the letters a to z only.
    CString& MakeUpper();

    /// Compares by units: the result is below 0, 0 or above 0.
    int Compare(const wchar_t* other) const noexcept;

#ifdef _WIN32
    /// Formats with Microsoft wide formats: %s is wide text, %I64d a 64-bit integer. Throws std::invalid_argument for a
    /// format that the C runtime refuses.
    void Format(const wchar_t* format, ...);
    /// Appends formatted text, as Format makes it.
    void AppendFormat(const wchar_t* format, ...);
#endif

    /// Returns a buffer of at least `length` units and a terminator, which the caller writes to and ends with
    /// ReleaseBuffer. No other function may be called in between.
    wchar_t* GetBuffer(int length);
    /// Ends the use of the buffer. -1: the text ends at the first zero.
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

/// Returns both texts, one behind the other.
CString operator+(const CString& left, const CString& right);
/// Returns both texts, one behind the other.
CString operator+(const CString& left, const wchar_t* right);
/// Returns both texts, one behind the other.
CString operator+(const wchar_t* left, const CString& right);
/// Returns the text and one unit behind it.
CString operator+(const CString& left, wchar_t right);

/// Compares by units, with exact case.
inline bool operator==(const CString& l, const CString& r) noexcept { return l.View() == r.View(); }
/// Compares by units, with exact case.
inline bool operator==(const CString& l, const wchar_t* r) noexcept { return l.Compare(r) == 0; }
/// Compares by units, with exact case.
inline bool operator!=(const CString& l, const CString& r) noexcept { return !(l == r); }
/// Compares by units, with exact case.
inline bool operator!=(const CString& l, const wchar_t* r) noexcept { return !(l == r); }
/// Returns true when `l` comes first: by units, with exact case.
inline bool operator<(const CString& l, const CString& r) noexcept { return l.View() < r.View(); }

/// Lets hash tables use a text as a key, with exact case.
template <>
struct std::hash<CString> {
    /// Returns the hash of the units.
    std::size_t operator()(const CString& text) const noexcept { return std::hash<std::wstring_view>{}(text.View()); }
};
