/// @file
/// A fingerprint that stands for a path where very many paths are remembered: 128 bits under a secret of the process.
///
/// Other programs share the key of a path (support/Hashes.h), and anybody can compute it. A fingerprint is different:
/// no user can make a path with the fingerprint of another one. It means nothing outside the process, or to the next
/// process. Any thread.
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

    /// Returns true for the same path, in whatever case.
    bool operator==(const PathFingerprint&) const = default;
};

/// The hash of a fingerprint. Every bit of the fingerprint is as good as any other.
template <>
struct std::hash<PathFingerprint> {
    /// Returns one half.
    std::size_t operator()(const PathFingerprint& fingerprint) const noexcept
    {
        return static_cast<std::size_t>(fingerprint.first);
    }
};

/// Returns the fingerprint of the path, without regard to case.
PathFingerprint FingerprintOf(std::wstring_view path);

/// Returns SipHash-2-4 with a result of 128 bits, under a given secret.
PathFingerprint SipHash128(std::span<const std::byte> bytes, std::uint64_t firstSecret, std::uint64_t secondSecret);
