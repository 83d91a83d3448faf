// A command of orbwatch: what its help says, its options, what is checked before it runs, and what it does. The parser
// writes the values of the options into the command, which must outlive it. One thread.
#pragma once

#include "host/NamedFiles.h"
#include "host/commands/Options.h"
#include "host/help/CommandHelp.h"

// Returns the files and folders that the options of a service name.
inline Inputs NamedBy(const ServiceOptions& options) { return {options.files, {}, options.index, options.destination}; }

class Command
{
public:
    virtual ~Command() = default;

    virtual CommandHelp Help() const = 0;
    // Returns what the options name, to be checked before the command runs; nothing for a command that makes its own
    // checks or needs none.
    virtual std::optional<Inputs> Named() const { return std::nullopt; }
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
