/// @file
/// The product's settings: three objects, one JSON file each, in the data folder.
///
/// The data folder is `%ProgramData%\OrbWatcher4`, or the one that the environment
/// variable ORB_DATA_FOLDER names at the moment of the call.
///
/// Keys are written "Section::name". The objects live as long as the process, and
/// each call may come from any thread. The first use reads the file, and so does
/// the first use after the data folder has changed. The files are used with the
/// rights of the process, whoever the thread acts for. A missing file reads as empty.
/// An unreadable one is logged, kept beside with the ending ".bad", and reads as
/// empty. Processes that save the same file take turns, and each keeps what the
/// others have saved: of the same value the last one wins.
#pragma once

#include "mfc/CString.h"

#include <cstddef>
#include <cstdint>

#ifdef ORBSETTINGS_EXPORTS
#define ORBSETTINGS_API __declspec(dllexport)
#else
#define ORBSETTINGS_API __declspec(dllimport)
#endif

/// One settings file; docs/settings.md describes it. Any thread.
class ORBSETTINGS_API CSettings
{
public:
    /// Reads the file again; what was set and not persisted stays above it. False when the file is unreadable: one
    /// that cannot be opened leaves the values as they were, a damaged one leaves none.
    virtual bool Load();
    /// Writes the file whole: a temporary one first, then an atomic replace. Values that others have written in
    /// the meantime are kept, unless they were set here, too. False when it could not be written; the old file is
    /// then still there.
    virtual bool Save();

    /// The value as a number, cut to 32 bits; the fallback when it is not there or not a number. A text
    /// that is a decimal number counts as one.
    std::int32_t GetValue(const wchar_t* key, std::int32_t fallback) const;
    /// The value as text into a buffer of `capacity` units with its terminator. False, with an empty
    /// text, when there is no value or it does not fit.
    bool GetValue(const wchar_t* key, wchar_t* buffer, std::size_t capacity) const;
    /// The value of the key from now on; on the disk after Save. The text is copied.
    void SetValue(const wchar_t* key, std::int32_t value);
    /// The same for a text; null counts as an empty one.
    void SetValue(const wchar_t* key, const wchar_t* value);

    /// The folder that holds the product's data, without a trailing backslash; it is created when missing.
    CString GetDataFolderPath() const;

    CSettings(const CSettings&) = delete;
    CSettings& operator=(const CSettings&) = delete;

protected:
    /// The file of this name in the data folder. Its own account, the system and the administrators may read it, or
    /// all.
    explicit CSettings(const wchar_t* fileName, bool allMayRead = false);
    virtual ~CSettings();

private:
    struct State;
    State* m_state;
};

/// How this installation works: MainSettings.json.
class ORBSETTINGS_API CMainSettings : public CSettings
{
public:
    /// True when the product works in the online mode ("Main::Online").
    bool IsOnline() const;
    /// The name of a kernel object of this installation: "Global\", so that all sessions of the machine share it, the
    /// base, then the instance text of the settings ("Main::Instance"), so that two installations on one machine do
    /// not collide. The setting "Main::ObjectNames" with the value "Local" keeps the names to one session. A name
    /// that is too long for the system ends in a hash of the whole.
    CString GetMainSettingsMutex(const wchar_t* base) const;

private:
    CMainSettings();
    ~CMainSettings() override;
    friend ORBSETTINGS_API CMainSettings& GetMainSettings();
};

/// What the runs of the service leave for the next one: ServiceRunSettings.json.
class ORBSETTINGS_API CServiceRunSettings : public CSettings
{
    CServiceRunSettings();
    ~CServiceRunSettings() override;
    friend ORBSETTINGS_API CServiceRunSettings& GetServiceRunSettings();
};

/// Among the service-run settings: when the last full enumeration was complete, in seconds since 1970. 0: one is due.
inline constexpr const wchar_t* FirstTimeRunTimeKey = L"Backup::FirstTimeRunTime";

/// What the user has chosen: UserConfigurations.json.
class ORBSETTINGS_API CUserConfigurations : public CSettings
{
    CUserConfigurations();
    ~CUserConfigurations() override;
    friend ORBSETTINGS_API CUserConfigurations& GetUserConfigurations();
};

/// The one object of the process. Any thread.
ORBSETTINGS_API CMainSettings& GetMainSettings();
/// The one object of the process. Any thread.
ORBSETTINGS_API CServiceRunSettings& GetServiceRunSettings();
/// The one object of the process. Any thread.
ORBSETTINGS_API CUserConfigurations& GetUserConfigurations();
