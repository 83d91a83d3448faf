// What a file, folder or pipe of the product is created with: only the user it is
// created for may read and write it, and the system and its administrators, who could
// help themselves to it anyway; nothing is inherited from the folder. Where that cannot
// be set up, the folder's own list holds.
//
// One object serves any number of creations, and must live while they run. It is for
// the user whom the thread impersonates when the object is made.
#pragma once

#include <windows.h>

#include <array>

class OwnerAccess
{
public:
    // What all other accounts may do.
    enum class Others { MayDoNothing, MayRead };

    explicit OwnerAccess(Others others = Others::MayDoNothing) noexcept;
    OwnerAccess(const OwnerAccess&) = delete;
    OwnerAccess& operator=(const OwnerAccess&) = delete;

    // Null when the folder's own list holds.
    SECURITY_ATTRIBUTES* Attributes() noexcept { return m_made ? &m_attributes : nullptr; }

private:
    bool Make(Others others) noexcept;

    alignas(8) std::array<std::byte, 512> m_list; // four entries and their SIDs
    SECURITY_DESCRIPTOR m_descriptor;
    SECURITY_ATTRIBUTES m_attributes = {sizeof(SECURITY_ATTRIBUTES), &m_descriptor, FALSE};
    const bool m_made;
};
