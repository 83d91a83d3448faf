// A command of orbwatch: what its help says, its options, what is checked before it runs, and what it does. The parser
// writes the values of the options into the command, which must outlive it. One thread.
#pragma once

#include "host/commands/Options.h"
#include "host/help/CommandHelp.h"
#include "host/records/RecordWriter.h"

#include <memory>
#include <optional>

class Command
{
public:
    virtual ~Command() = default;

    virtual CommandHelp Help() const = 0;
    // Returns how the command ends that must not run with these options, and reports why; nothing when it may run.
    virtual std::optional<ExitCode> Refused(RecordWriter&) const { return std::nullopt; }
    virtual ExitCode Run(RecordWriter& writer) = 0;

    void AddTo(CLI::App& program);
    bool IsChosen() const { return m_parser->parsed(); }
    const GeneralOptions& General() const { return m_general; }

protected:
    virtual void DeclareOptions(CLI::App& parser) = 0;
    const CLI::App& Parser() const { return *m_parser; }
    const CLI::App& Program() const { return *m_parser->get_parent(); }

    GeneralOptions m_general;

private:
    CLI::App* m_parser = nullptr;
};
