#include "host/completion/Completion.h"

namespace
{

constexpr const char* Beginning =
    R"ps(# Completion of orbwatch for PowerShell, written by "orbwatch completion powershell":
#   orbwatch completion powershell | Out-String | Invoke-Expression
Register-ArgumentCompleter -Native -CommandName orbwatch, orbwatch.exe -ScriptBlock {
    param($wordToComplete, $commandAst, $cursorPosition)
    # Commands; '' is the program. Of an option: what it wants, whether it takes many, and its text. Paths are left to
    # PowerShell, which offers them where nothing else is offered.
    $commands = [ordered]@{
)ps";

constexpr const char* End = R"ps(    }
    $words = @($commandAst.CommandElements | Select-Object -Skip 1 |
        Where-Object { $_.Extent.EndOffset -lt $cursorPosition } | ForEach-Object { $_.ToString() })
    $command = ''; $option = ''; $since = 0
    foreach ($word in $words) {
        if ($word.StartsWith('--')) { $option = $word; $since = 0 }
        elseif ($command -eq '') { $command = $word }
        else { $since++ }
    }
    if (-not $commands.Contains($command)) { return }
    $options = $commands[$command].Options
    $wanted = $null
    if ($option -ne '' -and $options.Contains($option)) {
        $wanted = $options[$option]
        if ($wanted.Wants -eq '' -or ($since -gt 0 -and -not $wanted.Many)) { $wanted = $null }
    }
    if ($null -eq $wanted -and $options.Contains('')) { $wanted = $options[''] }
    $offer = [ordered]@{}
    if ($wordToComplete.StartsWith('-') -or $null -eq $wanted) {
        foreach ($name in $options.Keys) { if ($name -ne '') { $offer[$name] = $options[$name].Text } }
        if ($command -eq '') {
            foreach ($name in $commands.Keys) { if ($name -ne '') { $offer[$name] = $commands[$name].Text } }
        }
    }
    elseif ($wanted.Wants -eq 'PROFILE') {
        $at = [array]::IndexOf($words, '--data')
        if ($at -ge 0 -and $at + 1 -lt $words.Count) {
            $file = $words[$at + 1].Trim([char]34, [char]39)
            Select-String -LiteralPath $file -Pattern 'pluginId="(\d+)"' -AllMatches -ErrorAction SilentlyContinue |
                ForEach-Object { $_.Matches } | ForEach-Object { $_.Groups[1].Value } | Sort-Object -Unique |
                ForEach-Object { $offer[$_] = 'profile ' + $_ }
        }
    }
    elseif ($wanted.Wants.Contains('|')) {
        foreach ($name in $wanted.Wants.Split('|')) { $offer[$name] = $wanted.Text }
    }
    foreach ($name in $offer.Keys) {
        if ($name.StartsWith($wordToComplete)) {
            [System.Management.Automation.CompletionResult]::new($name, $name, 'ParameterValue', $offer[$name])
        }
    }
}
)ps";

std::string Quoted(const std::string& text)
{
    std::string quoted = "'";
    for (const char unit : text)
        quoted += unit == '\'' ? std::string("''") : std::string(1, unit);
    return quoted + "'";
}

std::string OptionLine(const OptionNode& option)
{
    return "            " + Quoted(option.alone ? "" : option.name) + " = @{ Wants = " + Quoted(option.value) +
           "; Many = " + (option.many ? "$true" : "$false") + "; Text = " + Quoted(option.text) + " }\n";
}

} // namespace

std::string PowerShellCompletion(const std::vector<CommandNode>& tree)
{
    std::string script = Beginning;
    for (const CommandNode& node : tree) {
        script += "        " + Quoted(node.name) + " = @{ Text = " + Quoted(node.text) + "; Options = [ordered]@{\n";
        for (const OptionNode& option : node.options)
            script += OptionLine(option);
        script += "        } }\n";
    }
    return script + End;
}
