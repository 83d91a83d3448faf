// The rights that an access list gives to accounts other than this one, the system and the administrators.
#pragma once

#include "support/AccountSids.h"

#include <vector>

struct AccessList {
    bool isProtected = false;        // nothing is inherited from the folder above
    std::vector<ACCESS_MASK> others; // the rights of each of them

    // A missing list counts as one that is not protected.
    explicit AccessList(const SECURITY_ATTRIBUTES* attributes)
    {
        SECURITY_DESCRIPTOR_CONTROL control = 0;
        DWORD revision = 0;
        BOOL present = FALSE, defaulted = FALSE;
        ACL* list = nullptr;
        if (!attributes || !GetSecurityDescriptorControl(attributes->lpSecurityDescriptor, &control, &revision) ||
            !GetSecurityDescriptorDacl(attributes->lpSecurityDescriptor, &present, &list, &defaulted) || !list)
            return;
        isProtected = (control & SE_DACL_PROTECTED) != 0;
        AccountSid user;
        CurrentUserSid(user);
        for (DWORD i = 0; i < list->AceCount; ++i) {
            void* entry = nullptr;
            GetAce(list, i, &entry);
            auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
            auto* sid = reinterpret_cast<SID*>(&allowed->SidStart);
            if (!EqualSid(sid, user.Get()) && !IsWellKnownSid(sid, WinLocalSystemSid) &&
                !IsWellKnownSid(sid, WinBuiltinAdministratorsSid))
                others.push_back(allowed->Mask);
        }
    }
};
