// The border between the C functions and the classes behind them: input is checked, output is copied, and no exception
// leaves. Any thread.
#pragma once

#include "orbwatcher4/OrbWatcherC.h"
#include "orbwatcher4/core/environment/Completes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <string_view>

static_assert(sizeof(wchar_t) == 2, "the texts of the interface are UTF-16");

// Thrown inside a call to end it with a result. Without a reason, the text of the code is the reason.
struct Refused {
    OrbResult code;
    std::wstring why = {};
};

// These functions work on the last failure of the calling thread; see OrbLastFailure.
void ForgetFailure() noexcept;
OrbResult NoteFailure(OrbResult code, std::wstring_view why = {}) noexcept;
OrbResult NoteFailure(OrbResult code, const std::exception& error) noexcept;

// Runs the body of a function that returns a result.
template <typename Work>
OrbResult Guarded(Work&& work) noexcept
{
    const BoundaryScope inside; // exceptions of the classes end here
    ForgetFailure();
    try {
        return work();
    } catch (const Refused& refused) {
        return NoteFailure(refused.code, refused.why);
    } catch (const std::bad_alloc&) {
        return NoteFailure(ORB_NO_MEMORY);
    } catch (const std::exception& error) {
        return NoteFailure(ORB_FAILED, error);
    } catch (...) {
        return NoteFailure(ORB_FAILED);
    }
}

template <typename Object>
Object& Required(Object* object)
{
    if (!object)
        throw Refused{ORB_BAD_ARGUMENT, L"a pointer is null"};
    return *object;
}

// The sizes of earlier versions of a struct, which ended before fields that were added later.
template <typename Struct>
inline constexpr std::array<std::size_t, 0> EarlierSizes = {};
template <>
inline constexpr std::array EarlierSizes<OrbWatcherOptions> = {offsetof(OrbWatcherOptions, secondaryRules)};
template <>
inline constexpr std::array EarlierSizes<OrbPendingFile> = {offsetof(OrbPendingFile, ruleTexts),
                                                            offsetof(OrbPendingFile, fileId)};
template <>
inline constexpr std::array EarlierSizes<OrbIndexOptions> = {offsetof(OrbIndexOptions, sizeLimit)};
template <>
inline constexpr std::array EarlierSizes<OrbEnumerationProgress> = {offsetof(OrbEnumerationProgress, folder)};
template <>
inline constexpr std::array EarlierSizes<OrbEstimateOptions> = {offsetof(OrbEstimateOptions, autoExclusions),
                                                                offsetof(OrbEstimateOptions, destination)};
template <>
inline constexpr std::array EarlierSizes<OrbEstimateTotals> = {offsetof(OrbEstimateTotals, leftOutFiles)};

// Comes before the work: if the caller's struct cannot be filled, nothing may be lost.
template <typename Struct>
void RequireSize(const Struct* given)
{
    const std::size_t size = Required(given).size;
    const auto& earlier = EarlierSizes<Struct>;
    if (size != sizeof(Struct) && std::find(earlier.begin(), earlier.end(), size) == earlier.end())
        throw Refused{ORB_BAD_SIZE};
}

// Copies the caller's struct; fields that it does not have are zero.
template <typename Struct>
Struct CopyIn(const Struct* given)
{
    RequireSize(given);
    Struct copy = {};
    std::memcpy(&copy, given, given->size);
    return copy;
}

template <typename Struct>
void CopyOut(Struct& filled, Struct* given)
{
    filled.size = given->size;
    std::memcpy(given, &filled, given->size);
}

// Copy a text of the caller. An optional text may be null or empty.
std::wstring OptionalText(const wchar_t* text);
std::wstring RequiredText(const wchar_t* text);

// Copies the text, and cuts it off when it is too long for the field.
template <std::size_t Capacity>
void PutText(wchar_t (&field)[Capacity], std::wstring_view text)
{
    const std::size_t length = std::min(text.size(), Capacity - 1);
    std::copy_n(text.begin(), length, field);
    field[length] = 0;
}

// Copies the text into a buffer of the caller, as OrbLastFailure describes.
OrbResult GiveText(std::wstring_view text, wchar_t* buffer, uint32_t capacity, uint32_t* needed);
