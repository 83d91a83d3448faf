/// @file
/// The record that the backup service receives: a fixed layout of 4,728 bytes, shared with the caller; all fields are
/// little-endian.
#pragma once

#include "orbwatcher4/Export.h"

#include <cstddef>
#include <cstdint>

/// The bits of QueueDatum::flags and of a notification's rule flags.
namespace QueueFlags
{
constexpr std::uint32_t File = 0x02;              ///< it is a file
constexpr std::uint32_t Directory = 0x04;         ///< it is a folder
constexpr std::uint32_t New = 0x10;               ///< not in the index
constexpr std::uint32_t BlockLevel = 0x80;        ///< a file to be backed up at block level
constexpr std::uint32_t Internal = 0x400;         ///< RuleFlags::Internal of a rule
constexpr std::uint32_t Rule800 = 0x800;          ///< 0x800 of a rule, handed on as it is
constexpr std::uint32_t EvenWhenHidden = 0x4000;  ///< RuleFlags::EvenWhenHidden of a rule
constexpr std::uint32_t RuleWithoutText = 0x8000; ///< a rule without a plugin's name took part
constexpr std::uint32_t Recovery40000 = 0x40000;  ///< one bit of RuleFlags::DisasterRecovery
constexpr std::uint32_t Recovery80000 = 0x80000;  ///< the other bit of it
constexpr std::uint32_t ShowOverlay = 0x800000;   ///< its status is to be shown
constexpr std::uint32_t DedupCandidate =
    0x4000000; ///< RuleFlags::DedupCandidate, unless SetIgnoredDedup names the file
} // namespace QueueFlags

/// A text that a service keeps with a record. It belongs to the caller of a hand-out.
struct QueueAttachment {
    wchar_t* text; ///< owned, zero-terminated
};

/// Makes an attachment with a copy of the text; null when memory runs out. The library frees the attachment of a record
/// that it fills, so that both sides must use these two functions.
extern "C" ORBWATCHER4_API QueueAttachment* AllocateQueueAttachment(const wchar_t* text);
/// Frees an attachment. Null does nothing.
extern "C" ORBWATCHER4_API void FreeQueueAttachment(QueueAttachment* attachment);

/// The identity of the file that a path led to when it was handed out, as GetFileInformationByHandle reports it. Zeros
/// when the file could not be opened for reading then.
struct FileIdentity {
    std::uint32_t volumeSerial = 0; ///< serial number of the volume
    std::uint64_t fileId = 0;       ///< number of the file on it: nFileIndexHigh and nFileIndexLow
};

/// One pending file, as the watcher hands it out.
struct QueueDatum {
    static constexpr std::size_t PathCapacity = 1536;      ///< units, with the zero
    static constexpr std::size_t FirstTextCapacity = 260;  ///< units, with the zero
    static constexpr std::size_t SecondTextCapacity = 520; ///< units, with the zero
    static constexpr std::uint32_t Constant2 = 2;          ///< the value of constant2

    std::uint64_t reserved0 = 0;                 ///< 0
    std::uint64_t id = 0;                        ///< 64-bit path key
    wchar_t path[PathCapacity] = {};             ///< full path, drive or server letter upper-cased
    std::int64_t modificationTime = 0;           ///< FILETIME; of a folder its creation; unreadable: -1, a folder 0
    std::uint64_t size = 0;                      ///< bytes
    std::uint32_t reserved1 = 0;                 ///< 0
    std::uint32_t constant2 = 0;                 ///< always Constant2
    std::uint64_t reserved2 = 0;                 ///< 0
    std::uint32_t ruleValue = 0;                 ///< jobs of the rules: the bits of all rules
    std::uint32_t flags = 0;                     ///< QueueFlags
    wchar_t firstText[FirstTextCapacity] = {};   ///< rule texts, joined by ":"; none that those before contain
    wchar_t secondText[SecondTextCapacity] = {}; ///< rule numbers, joined by ":"
    std::int32_t minusOne0 = -1;                 ///< -1
    std::int32_t minusOne1 = -1;                 ///< -1
    std::uint64_t reserved3 = 0;                 ///< 0
    std::uint32_t attributes = 0;                ///< file attributes
    std::uint32_t reserved4 = 0;                 ///< 0
    std::int64_t creationTime = 0;               ///< FILETIME
    QueueAttachment* attachment = nullptr;       ///< freed and set to null before the record is filled
};

static_assert(offsetof(QueueDatum, reserved0) == 0x0000);
static_assert(offsetof(QueueDatum, id) == 0x0008);
static_assert(offsetof(QueueDatum, path) == 0x0010);
static_assert(offsetof(QueueDatum, reserved1) == 0x0C20);
static_assert(offsetof(QueueDatum, modificationTime) == 0x0C10);
static_assert(offsetof(QueueDatum, size) == 0x0C18);
static_assert(offsetof(QueueDatum, constant2) == 0x0C24);
static_assert(offsetof(QueueDatum, reserved2) == 0x0C28);
static_assert(offsetof(QueueDatum, ruleValue) == 0x0C30);
static_assert(offsetof(QueueDatum, flags) == 0x0C34);
static_assert(offsetof(QueueDatum, firstText) == 0x0C38);
static_assert(offsetof(QueueDatum, secondText) == 0x0E40);
static_assert(offsetof(QueueDatum, minusOne0) == 0x1250);
static_assert(offsetof(QueueDatum, minusOne1) == 0x1254);
static_assert(offsetof(QueueDatum, reserved3) == 0x1258);
static_assert(offsetof(QueueDatum, attributes) == 0x1260);
static_assert(offsetof(QueueDatum, reserved4) == 0x1264);
static_assert(offsetof(QueueDatum, creationTime) == 0x1268);
static_assert(offsetof(QueueDatum, attachment) == 0x1270);
static_assert(sizeof(QueueDatum) == 0x1278);
