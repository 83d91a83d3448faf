// A second account of the machine, made for one test and removed at its end. Making one needs an administrator. Wine
// has one account only: there a test with this object is skipped, and says so.
#pragma once

#include "support/Handle.h"

#include <gtest/gtest.h>

#include <string>

class SecondAccount
{
public:
    SecondAccount();
    ~SecondAccount();
    SecondAccount(const SecondAccount&) = delete;
    SecondAccount& operator=(const SecondAccount&) = delete;

    // Returns why there is no second account; empty when there is one.
    const std::string& WhyNot() const { return m_whyNot; }
    HANDLE Token() const { return m_token.Get(); }

    // The calling thread acts as the second account until the end of the scope.
    class Acting
    {
    public:
        explicit Acting(const SecondAccount& account);
        ~Acting();
        Acting(const Acting&) = delete;
        Acting& operator=(const Acting&) = delete;
    };

private:
    bool MakeUser(const std::wstring& password);
    bool LogOn(const std::wstring& password);
    bool IsAnother() const;

    const std::wstring m_name;
    bool m_made = false;
    KernelHandle m_token;
    std::string m_whyNot;
};

// A fixture whose tests need a second account, and are skipped where there is none.
template <class Fixture>
class WithSecondAccount : public Fixture
{
protected:
    void SetUp() override
    {
        Fixture::SetUp();
        if (!other.WhyNot().empty())
            GTEST_SKIP() << other.WhyNot();
    }

    const SecondAccount other;
};
