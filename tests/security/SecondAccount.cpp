#include "tests/security/SecondAccount.h"

#include "support/AccountSids.h"

#include <windows.h>

#include <lm.h>

#include <random>
#include <stdexcept>

namespace
{

std::wstring NewPassword()
{
    std::random_device random;
    std::wstring password = L"Aa1!"; // each kind of character that a policy may ask for
    while (password.size() < 24)
        password += static_cast<wchar_t>(L'a' + random() % 26);
    return password;
}

} // namespace

SecondAccount::SecondAccount() : m_name(L"orbtest" + std::to_wstring(GetCurrentProcessId()))
{
    const std::wstring password = NewPassword();
    if (!MakeUser(password))
        m_whyNot = "needs an administrator of Windows: no account can be made";
    else if (!LogOn(password))
        m_whyNot = "the new account cannot log on";
    else if (!IsAnother())
        m_whyNot = "this system has one account only";
}

SecondAccount::~SecondAccount()
{
    if (m_made)
        NetUserDel(nullptr, m_name.c_str());
}

// The texts of USER_INFO_1 are not const; the system only reads them.
bool SecondAccount::MakeUser(const std::wstring& password)
{
    USER_INFO_1 user = {};
    user.usri1_name = const_cast<wchar_t*>(m_name.c_str());
    user.usri1_password = const_cast<wchar_t*>(password.c_str());
    user.usri1_priv = USER_PRIV_USER;
    user.usri1_flags = UF_SCRIPT;
    m_made = NetUserAdd(nullptr, 1, reinterpret_cast<BYTE*>(&user), nullptr) == NERR_Success;
    return m_made;
}

// The kind of log-on that every account may make by default.
bool SecondAccount::LogOn(const std::wstring& password)
{
    HANDLE token = nullptr;
    if (!LogonUserW(m_name.c_str(), L".", password.c_str(), LOGON32_LOGON_NETWORK, LOGON32_PROVIDER_DEFAULT, &token))
        return false;
    m_token.Reset(token);
    return true;
}

bool SecondAccount::IsAnother() const
{
    AccountSid own;
    alignas(8) std::byte memory[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = 0;
    return CurrentUserSid(own) && GetTokenInformation(m_token.Get(), TokenUser, memory, sizeof memory, &size) &&
           !EqualSid(own.Get(), reinterpret_cast<TOKEN_USER*>(memory)->User.Sid);
}

SecondAccount::Acting::Acting(const SecondAccount& account)
{
    if (!ImpersonateLoggedOnUser(account.Token()))
        throw std::runtime_error("the second account's token is refused");
}

SecondAccount::Acting::~Acting() { RevertToSelf(); }
