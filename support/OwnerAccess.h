// The access list for a new file, folder or pipe of the product: only its user may read and write it, and the system
// and its administrators, who could give themselves access anyway. Nothing is inherited from the folder. When the list
// cannot be made, the folder's own list applies.
//
// One object serves any number of creations, and must live while they run. The user is the one whom the thread
// impersonates when the object is made.
#pragma once

#include <windows.h>

#include <array>

class OwnerAccess
{
public:
    // The rights of all other accounts.
    enum class Others { MayDoNothing, MayRead };

    explicit OwnerAccess(Others others = Others::MayDoNothing) noexcept;
    OwnerAccess(const OwnerAccess&) = delete;
    OwnerAccess& operator=(const OwnerAccess&) = delete;

    // Returns null when the folder's own list applies.
    SECURITY_ATTRIBUTES* Attributes() noexcept { return m_made ? &m_attributes : nullptr; }

private:
    bool Make(Others others) noexcept;

    alignas(8) std::array<std::byte, 512> m_list; // four entries and their SIDs
    SECURITY_DESCRIPTOR m_descriptor;
    SECURITY_ATTRIBUTES m_attributes = {sizeof(SECURITY_ATTRIBUTES), &m_descriptor, FALSE};
    const bool m_made;
};
