#include "completion.h"

#include <CLI/CLI.hpp>

#include <sstream>

namespace dslrctl {

namespace {

// Bash code for the parts that do not depend on the table: reading the
// command line so far, camera paths and setting values from the camera
// (given at most two seconds), host files and directories.
const char* const kCompletionBody = R"BASH(
_dslrctl_camera() {  # ARGS...: dslrctl on the port given so far, quiet and bounded
    timeout 2 "${words[0]}" ${port:+--port "$port"} "$@" 2>/dev/null
}

_dslrctl_camera_paths() {
    local paths
    paths=$(_dslrctl_camera --json ls -R | sed -n 's/^ *"path": "\(.*\)",*$/\1/p')
    COMPREPLY=($(compgen -W "$paths" -- "$cur"))
}

_dslrctl_setting_values() {  # NAME
    local values=${_dslrctl_setting_values[$1]:-}
    # Values only the camera knows come from config list; ISO speeds are
    # shown as "ISO 400, ..." and typed as 400.
    [ -z "$values" ] && values=$(_dslrctl_camera config list |
        awk -v name="$1" '$1 == name { found = 1; next } found { sub(/^ *accepts: /, ""); gsub(/ISO |,/, ""); print; exit }')
    COMPREPLY=($(compgen -W "$values" -- "$cur"))
}

_dslrctl() {
    local cur prev words cword
    if declare -F _init_completion >/dev/null; then
        _init_completion -n : || return
    else
        words=("${COMP_WORDS[@]}") cword=$COMP_CWORD cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
    fi
    local command= port= i arguments=()
    for ((i = 1; i < cword; i++)); do
        case ${words[i]} in
            --port) port=${words[i + 1]}; ((i++)); continue ;;
            --port=*) port=${words[i]#--port=}; continue ;;
        esac
        if [[ " $_dslrctl_value_options " == *" ${words[i]} "* ]]; then ((i++)); continue; fi
        if [ -z "$command" ] && [[ " $_dslrctl_commands " == *" ${words[i]} "* ]]; then
            command=${words[i]}
        elif [ -n "$command" ] && [[ ${words[i]} != -* ]]; then
            arguments+=("${words[i]}")
        fi
    done
    case $prev in
        --port)
            COMPREPLY=($(compgen -W "sim:demo unix: tcp: $(compgen -G '/dev/sg*')" -- "$cur"))
            declare -F __ltrim_colon_completions >/dev/null && __ltrim_colon_completions "$cur"
            return 0 ;;
        -o|--output)
            if declare -F _filedir >/dev/null; then _filedir -d; else COMPREPLY=($(compgen -d -- "$cur")); fi
            return 0 ;;
    esac
    [[ " $_dslrctl_value_options " == *" $prev "* ]] && return 0
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$_dslrctl_global_options ${_dslrctl_options[${command:-none}]:-}" -- "$cur"))
        return 0
    fi
    case $command in
        "") COMPREPLY=($(compgen -W "$_dslrctl_commands" -- "$cur")) ;;
        config)
            case ${#arguments[@]} in
                0) COMPREPLY=($(compgen -W "list get set" -- "$cur")) ;;
                1) [ "${arguments[0]}" != list ] && COMPREPLY=($(compgen -W "${!_dslrctl_setting_values[*]}" -- "$cur")) ;;
                2) [ "${arguments[0]}" = set ] && _dslrctl_setting_values "${arguments[1]}" ;;
            esac ;;
        put)
            if [ ${#arguments[@]} -eq 0 ]; then
                if declare -F _filedir >/dev/null; then _filedir; else COMPREPLY=($(compgen -f -- "$cur")); fi
            else
                _dslrctl_camera_paths
            fi ;;
        format) COMPREPLY=($(compgen -W "$(_dslrctl_camera --json ls | sed -n 's/^ *"path": "\([A-Z0-9]*\):.*/\1/p' | sort -u)" -- "$cur")) ;;
        ls|get|rm|mkdir) _dslrctl_camera_paths ;;
    esac
    declare -F __ltrim_colon_completions >/dev/null && __ltrim_colon_completions "$cur"
    return 0
}
complete -F _dslrctl dslrctl
)BASH";

// The option names of one level of the table, and those that take a value.
void addOptionNames(const CLI::App& app, std::string& names, std::string& takingValues)
{
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_group().empty()) continue;  // hidden
        std::string these;
        for (const std::string& name : option->get_snames()) these += " -" + name;
        for (const std::string& name : option->get_lnames()) these += " --" + name;
        names += these;
        if (option->get_expected_max() > 0) takingValues += these;
    }
}

std::string joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

}  // namespace

std::string bashCompletion(const CLI::App& app, const SettingValues& settings)
{
    std::string globals, takingValues, commands;
    addOptionNames(app, globals, takingValues);
    std::ostringstream script;
    script << "# bash completion for dslrctl, made by `dslrctl --completion bash` from its\n"
              "# command table.\n"
              "declare -A _dslrctl_options=()\n";
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        std::string options;
        addOptionNames(*command, options, takingValues);
        commands += " " + command->get_name();
        script << "_dslrctl_options[" << command->get_name() << "]='" << options << "'\n";
    }
    script << "_dslrctl_commands='" << commands << "'\n"
           << "_dslrctl_global_options='" << globals << "'\n"
           << "_dslrctl_value_options='" << takingValues << "'\n"
           << "declare -A _dslrctl_setting_values=(";
    for (const auto& setting : settings)
        script << " [" << setting.first << "]='" << joined(setting.second) << "'";
    script << " )\n" << kCompletionBody;
    return script.str();
}

}  // namespace dslrctl
