// Records of orbwatch doctor.
#pragma once

#include "host/doctor/Check.h"
#include "host/records/Record.h"
#include "support/HarmlessText.h"

struct CheckRecord {
    static constexpr RecordKind Kind{
        "check", "what was looked at (name), its state (ok, warning or failed), and what to do about it"};
    const Check& check;
    RecordFields Fields() const
    {
        RecordFields fields = {{"name", check.name}, {"state", NameOf(check.state)}, {"text", ToUtf8(check.text)}};
        if (!check.path.empty())
            fields["path"] = ToUtf8(check.path);
        return fields;
    }
    std::string Line() const
    {
        const std::string state = NameOf(check.state);
        const std::string path = check.path.empty() ? "" : RecordText::Path(check.path) + ": ";
        return state + std::string(9 - state.size(), ' ') + check.name + ": " + path + ToUtf8(HarmlessText(check.text));
    }
};

struct DoctorSummaryRecord {
    static constexpr RecordKind Kind{"summary", "at the end: how many checks were ok, warnings and failed"};
    std::size_t good;
    std::size_t warnings;
    std::size_t failures;
    int exitCode;
    RecordFields Fields() const
    {
        return {{"ok", good}, {"warnings", warnings}, {"failed", failures}, {"exit", exitCode}};
    }
    std::string Line() const
    {
        return std::to_string(good) + " ok, " + RecordText::Counted(warnings, "warning", "warnings") + ", " +
               std::to_string(failures) + " failed";
    }
};
