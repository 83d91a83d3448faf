/// @file
/// What stands for a path where very many of them are remembered: 128 bits under a secret of the process.
///
/// Unlike the key of a path (support/Hashes.h), which other programs share and anybody can compute, no name can be made
/// for the fingerprint of another one. It means nothing outside the process, or to the next one. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>

/// 128 bits that stand for a path.
struct PathFingerprint {
    std::uint64_t first = 0;  ///< one half
    std::uint64_t second = 0; ///< the other half

    /// Equal for the same path, in whatever case.
    bool operator==(const PathFingerprint&) const = default;
};

/// Its hash: every bit of it is as good as any other.
template <>
struct std::hash<PathFingerprint> {
    /// One half.
    std::size_t operator()(const PathFingerprint& fingerprint) const noexcept
    {
        return static_cast<std::size_t>(fingerprint.first);
    }
};

/// The fingerprint of the path, without regard to case.
PathFingerprint FingerprintOf(std::wstring_view path);

/// SipHash-2-4 with 128 bits of result, under a given secret.
PathFingerprint SipHash128(std::span<const std::byte> bytes, std::uint64_t firstSecret, std::uint64_t secondSecret);
