#include "host/completion/Completion.h"

namespace
{

constexpr const char* Beginning = R"sh(# Completion of orbwatch for bash, written by "orbwatch completion bash":
#   . <(orbwatch completion bash)

# _orbwatch_wants COMMAND OPTION: sets `wants` to what comes behind the option (without one: alone), and `many`.
_orbwatch_wants() {
    wants= many=
    case "$1 $2" in
)sh";

constexpr const char* BeforeWords = R"sh(    esac
}

# _orbwatch_words COMMAND: its options; without a command, those of the program and the commands.
_orbwatch_words() {
    case "$1" in
)sh";

constexpr const char* End = R"sh(    esac
}

# The profiles of the selection that the line names. The line has its name as it was typed, with quotes and backslashes,
# and cuts it at a colon.
_orbwatch_profiles() {
    local i file
    for ((i = 1; i + 1 < ${#COMP_WORDS[@]}; i++)); do
        [ "${COMP_WORDS[i]}" = --data ] || continue
        file=${COMP_WORDS[i + 1]}
        [ "${COMP_WORDS[i + 2]}" != : ] || file+=:${COMP_WORDS[i + 3]}
        file=$(xargs printf %s <<<"$file" 2>/dev/null)
        grep -o 'pluginId="[0-9]*"' -- "${file/#\~\//$HOME/}" 2>/dev/null | tr -cd '0-9\n' | sort -un
    done
}

# _orbwatch_offer WHAT CURRENT
_orbwatch_offer() {
    local offer=()
    case $1 in
    path | folder)
        compopt -o filenames 2>/dev/null
        [ "$1" = path ] && mapfile -t COMPREPLY < <(compgen -f -- "$2") || mapfile -t COMPREPLY < <(compgen -d -- "$2")
        return
        ;;
    profile) mapfile -t offer < <(_orbwatch_profiles) ;;
    words:*) read -ra offer <<<"${1#words:}" ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "${offer[*]}" -- "$2")
}

_orbwatch() {
    local current=${COMP_WORDS[COMP_CWORD]} command= option= since=0 wants many i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
        --*) option=${COMP_WORDS[i]} since=0 ;;
        *) [ -n "$command" ] && since=$((since + 1)) || command=${COMP_WORDS[i]} ;;
        esac
    done
    if [[ $current == -* ]]; then
        _orbwatch_offer "words:$(_orbwatch_words "$command")" "$current"
        return
    fi
    _orbwatch_wants "$command" "$option"
    [ -z "$option" ] || [ -z "$wants" ] || [ "$since" = 0 ] || [ -n "$many" ] || wants=
    [ -n "$wants" ] || _orbwatch_wants "$command" ''
    _orbwatch_offer "${wants:-words:$(_orbwatch_words "$command")}" "$current"
}

complete -F _orbwatch orbwatch orbwatch.exe
)sh";

std::string Wanted(const OptionNode& option)
{
    switch (option.WantedKind()) {
    case OptionNode::Kind::Path:
        return "path";
    case OptionNode::Kind::Folder:
        return "folder";
    case OptionNode::Kind::Profile:
        return "profile";
    case OptionNode::Kind::Text:
        return "text";
    default:
        break;
    }
    std::string words = "words:";
    for (const std::string& word : option.Choices())
        words += (words.back() == ':' ? "" : " ") + word;
    return words;
}

std::string WantLines(const CommandNode& node)
{
    std::string lines;
    for (const OptionNode& option : node.options)
        if (!option.value.empty())
            lines += "    '" + node.name + " " + (option.alone ? "" : option.name) + "') wants='" + Wanted(option) +
                     "'" + (option.many ? " many=1" : "") + " ;;\n";
    return lines;
}

std::string WordsLine(const CommandNode& node, const std::vector<CommandNode>& tree)
{
    std::string line = "    '" + node.name + "') echo";
    for (const OptionNode& option : node.options)
        if (!option.alone)
            line += " " + option.name;
    for (const CommandNode& command : tree)
        if (node.name.empty() && !command.name.empty())
            line += " " + command.name;
    return line + " ;;\n";
}

} // namespace

std::string BashCompletion(const std::vector<CommandNode>& tree)
{
    std::string script = Beginning;
    for (const CommandNode& node : tree)
        script += WantLines(node);
    script += BeforeWords;
    for (const CommandNode& node : tree)
        script += WordsLine(node, tree);
    return script + End;
}
