/// @file
/// The product's settings: three objects, one JSON file each, in the data folder.
///
/// The data folder is `%ProgramData%\OrbWatcher4`, or the folder that the environment variable ORB_DATA_FOLDER names
/// when the call is made.
///
/// Keys are written "Section::name". The objects live as long as the process, and any thread may call them. The first
/// use reads the file, and so does the first use after the data folder has changed. The files are used with the rights
/// of the process, whichever user the thread acts for. A missing file reads as empty. A damaged file is logged, kept
/// under a name of its own (".bad", ".bad2" ...), and reads as empty. A file that cannot be opened is logged and
/// changes no value; it is tried again a second later. Processes that save the same file take turns, and each keeps the
/// values that the others have saved; if two save the same value, the last one wins.
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
    /// Reads the file again; values that were set and not saved stay. Returns false when the file is unreadable: if it
    /// cannot be opened, all values stay as they were; if it is damaged, none of its values is taken.
    virtual bool Load();
    /// Writes the whole file: first a temporary one, which then replaces the file in one step. Values that other
    /// processes have written meanwhile are kept, unless they were set here, too. Returns false when the file could not
    /// be written; the old file is then still there.
    virtual bool Save();

    /// Returns the value as a number, cut to 32 bits, or the fallback when it does not exist or is no number. A text
    /// that is a decimal number counts as a number.
    std::int32_t GetValue(const wchar_t* key, std::int32_t fallback) const;
    /// Copies the value as text, with its terminator, into a buffer of `capacity` units. Returns false, with an empty
    /// text, when there is no value or it does not fit.
    bool GetValue(const wchar_t* key, wchar_t* buffer, std::size_t capacity) const;
    /// Sets the value of the key; Save writes it to the disk.
    void SetValue(const wchar_t* key, std::int32_t value);
    /// Sets a text, which is copied; null counts as an empty text.
    void SetValue(const wchar_t* key, const wchar_t* value);

    /// Returns the folder that holds the product's data, without a trailing backslash; creates it when it is missing.
    CString GetDataFolderPath() const;

    CSettings(const CSettings&) = delete;
    CSettings& operator=(const CSettings&) = delete;

protected:
    /// Makes the object for the file of this name in the data folder. The file may be read by its own account, the
    /// system and the administrators, or, with `allMayRead`, by all accounts.
    explicit CSettings(const wchar_t* fileName, bool allMayRead = false);
    virtual ~CSettings();

private:
    struct State;
    State* m_state;
};

/// The settings of this installation: MainSettings.json.
class ORBSETTINGS_API CMainSettings : public CSettings
{
public:
    /// Returns true when the product works in the online mode ("Main::Online").
    bool IsOnline() const;
    /// Returns the name of a kernel object of this installation. The name is "Global\", so that all sessions of the
    /// machine share the object, then the base, then the instance text of the settings ("Main::Instance"), so that two
    /// installations on one machine do not collide. The setting "Main::ObjectNames" with the value "Local" keeps the
    /// names within one session. A name that is too long for the system ends in a hash of the whole name.
    CString GetMainSettingsMutex(const wchar_t* base) const;

private:
    CMainSettings();
    ~CMainSettings() override;
    friend ORBSETTINGS_API CMainSettings& GetMainSettings();
};

/// The data that a run of the service leaves for the next one: ServiceRunSettings.json.
class ORBSETTINGS_API CServiceRunSettings : public CSettings
{
    CServiceRunSettings();
    ~CServiceRunSettings() override;
    friend ORBSETTINGS_API CServiceRunSettings& GetServiceRunSettings();
};

/// The key, in the service-run settings, of the time when the last full enumeration was complete, in seconds since
/// 1970. 0: a full enumeration is due.
inline constexpr const wchar_t* FirstTimeRunTimeKey = L"Backup::FirstTimeRunTime";

/// The key, in the service-run settings, of why a full enumeration is due: one of FullDue; empty when it is not known.
/// It has no meaning while none is due.
inline constexpr const wchar_t* FullDueReasonKey = L"Backup::FullDueReason";

/// The reasons for which a full enumeration is due. After the first three, something was lost.
namespace FullDue
{
inline constexpr const wchar_t* Killed = L"killed";           ///< the last run did not end in an orderly way
inline constexpr const wchar_t* Dump = L"dump";               ///< what the last run left pending is lost or damaged
inline constexpr const wchar_t* Index = L"index";             ///< the index is lost, or another one
inline constexpr const wchar_t* Selection = L"selection";     ///< the selection was edited
inline constexpr const wchar_t* Destination = L"destination"; ///< a destination is none any more
inline constexpr const wchar_t* Root = L"root";               ///< a root that was to be rescanned has another name
inline constexpr const wchar_t* Time = L"time";               ///< the one that the time rule began is not complete
} // namespace FullDue

/// The key, in the service-run settings, of the roots that the next start must rescan, separated by vertical bars.
inline constexpr const wchar_t* RescansDueKey = L"Backup::RescansDue";

/// The key, in the service-run settings, of what stands for the content of the selection (docs/settings.md).
inline constexpr const wchar_t* SelectionNoteKey = L"Backup::SelectionContent";

/// The key, in the service-run settings, of the destinations that were kept out of the selection when it was last
/// looked at, separated by vertical bars.
inline constexpr const wchar_t* DestinationsNoteKey = L"Backup::Destinations";

/// The key, in the service-run settings, of what the last orderly end left as the dump (docs/dump-file.md).
inline constexpr const wchar_t* DumpNoteKey = L"Backup::Dump";

/// The choices of the user: UserConfigurations.json.
class ORBSETTINGS_API CUserConfigurations : public CSettings
{
    CUserConfigurations();
    ~CUserConfigurations() override;
    friend ORBSETTINGS_API CUserConfigurations& GetUserConfigurations();
};

/// The keys, in the user configurations, of the folder that backups go to, and of the hours from one full enumeration
/// to the next.
inline constexpr const wchar_t* DestinationKey = L"Backup::path";
inline constexpr const wchar_t* ScanIntervalKey = L"AppConfig::NetworkScanIntervalInHours"; ///< see DestinationKey

/// The files of the settings, in the data folder.
inline constexpr const wchar_t* SettingsFileNames[] = {L"MainSettings.json", L"ServiceRunSettings.json",
                                                       L"UserConfigurations.json"};

/// Returns false when the data folder, or a settings file in it, is not trusted (support/TrustedFile.h): another user
/// may have made it first. Such settings read as empty, and a program that goes on without them could back up less than
/// its user wants. `path`: what is not trusted; `reason`: why, and what to do. Any thread.
ORBSETTINGS_API bool AreSettingsTrusted(CString& path, CString& reason);

/// Returns the one object of the process. Any thread.
ORBSETTINGS_API CMainSettings& GetMainSettings();
/// Returns the one object of the process. Any thread.
ORBSETTINGS_API CServiceRunSettings& GetServiceRunSettings();
/// Returns the one object of the process. Any thread.
ORBSETTINGS_API CUserConfigurations& GetUserConfigurations();
