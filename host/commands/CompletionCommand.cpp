// orbwatch completion: prints the script by which a shell completes command lines.
#include "host/commands/Commands.h"
#include "host/completion/Completion.h"

namespace
{

class CompletionCommand : public Command
{
public:
    CommandHelp Help() const override
    {
        return {.name = "completion",
                .summary = "print the script by which a shell completes command lines",
                .examples = {". <(orbwatch completion bash)",
                             "orbwatch completion powershell | Out-String | Invoke-Expression"},
                .text = R"(
Put such a line into the file that the shell reads at its start. Commands, options, their words, the profiles of
the selection that is named and paths are completed.)",
                .ends = {EndDone, EndUnwritten, EndRefused}};
    }
    ExitCode Run(RecordWriter& writer) override
    {
        const std::vector<CommandNode> tree = CommandTree(Program());
        return writer.Text(m_shell == Shell::Bash ? BashCompletion(tree) : PowerShellCompletion(tree));
    }

private:
    void DeclareOptions(CLI::App& app) override
    {
        AddChoice<Shell>(app, "shell", m_shell, "bash|powershell", "the shell that is to complete them",
                         {{"bash", Shell::Bash}, {"powershell", Shell::PowerShell}})
            ->required();
    }

    enum class Shell { Bash, PowerShell } m_shell = Shell::Bash;
};

} // namespace

std::unique_ptr<Command> MakeCompletionCommand() { return std::make_unique<CompletionCommand>(); }
