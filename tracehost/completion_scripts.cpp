// The scripts of the shells.
#include "tracehost/completion.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

/// The text with a backslash before each of some characters.
std::string Escaped(const std::string& text, const std::string& characters) {
    std::string escaped;
    for (const char character : text) {
        if (characters.find(character) != std::string::npos) escaped += '\\';
        escaped += character;
    }
    return escaped;
}

/// In single quotes, as bash and zsh read them.
std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char character : text) {
        quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return quoted + "'";
}

/// What a list of files or words is made of in bash: "words=..." or "files=1"; empty for what nobody can
/// list.
std::string BashList(const Completion& completion) {
    if (completion.takesFile) return "files=1";
    return completion.words.empty() ? "" : "words=" + Quoted(Joined(completion.words));
}

/// A case of what stands behind the options that take something.
std::string BashValues(const CompletedCommand& command) {
    std::string text;
    for (const Completion& option : command.options) {
        if (option.type.empty()) continue;
        const std::string list = BashList(option);
        for (const std::string& name : option.names) {
            text +=
                "        '" + command.name + " " + name + "') " + (list.empty() ? "return" : list) + " ;;\n";
        }
    }
    return text;
}

/// A case of what stands elsewhere: options, or what has no name.
std::string BashRest(const CompletedCommand& command) {
    std::string names;
    std::string list;
    for (const Completion& option : command.options) {
        names += (names.empty() ? "" : " ") + option.names.back();
    }
    for (const Completion& positional : command.positionals) list = BashList(positional);
    // Of the program itself all is offered at once.
    if (command.name.empty()) return "            '') " + list + "\" " + names + "\" ;;\n";
    std::string text = "            " + command.name + ") ";
    if (!list.empty()) text += "if [[ $word != -* ]]; then " + list + "; else ";
    text += "words=" + Quoted(names);
    return text + (list.empty() ? " ;;\n" : "; fi ;;\n");
}

/// An option or positional as zsh's _arguments takes it.
std::string ZshArgument(const Completion& completion) {
    std::string text;
    if (!completion.names.empty()) {
        const std::string description = "[" + Escaped(completion.description, "[]\\") + "]";
        const std::string sign = completion.type.empty() ? "" : "=";
        if (completion.names.size() == 1) {
            text = Quoted(completion.names.front() + sign + description);
        } else {
            text = Quoted("(" + Joined(completion.names) + ")") + "{" + completion.names[0] + sign + "," +
                   completion.names[1] + sign + "}" + Quoted(description);
        }
        if (completion.type.empty()) return text;
    } else {
        text = Quoted("1");
    }
    std::string action = " ";
    if (completion.takesFile) action = "_files";
    if (!completion.words.empty()) action = "(" + Joined(completion.words) + ")";
    return text +
           Quoted(":" + Escaped(completion.type.empty() ? "FILE" : completion.type, ":\\") + ":" + action);
}

std::string ZshArguments(const CompletedCommand& command, const std::string& indent) {
    std::string text = "_arguments -s";
    for (const auto* list : {&command.options, &command.positionals}) {
        for (const Completion& completion : *list) text += " \\\n" + indent + ZshArgument(completion);
    }
    return text;
}

/// The beginning of a line of fish for a place behind a command.
std::string FishLine(const std::string& command) {
    const std::string place =
        command.empty() ? "__fish_use_subcommand" : "'__fish_seen_subcommand_from " + command + "'";
    return "complete -c tracehost -n " + place;
}

std::string FishQuoted(const std::string& text) { return "'" + Escaped(text, "'\\") + "'"; }

std::string FishCompletion(const std::string& command, const Completion& completion) {
    std::string line = FishLine(command);
    for (const std::string& name : completion.names) {
        line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    if (!completion.names.empty() && !completion.type.empty()) line += completion.takesFile ? " -r" : " -x";
    if (completion.takesFile) line += " -F";
    if (!completion.words.empty()) line += " -a " + FishQuoted(Joined(completion.words));
    if (!completion.names.empty()) line += " -d " + FishQuoted(completion.description);
    return line + "\n";
}

}  // namespace

std::string BashCompletion(const std::vector<CompletedCommand>& commands) {
    std::string values;
    std::string rest;
    for (const CompletedCommand& command : commands) {
        values += BashValues(command);
        rest += BashRest(command);
    }
    return "# What \"tracehost completion bash\" prints.\n"
           "_tracehost() {\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command= words= "
           "files=\n"
           "    COMPREPLY=()\n"
           "    ((COMP_CWORD == 1)) || command=${COMP_WORDS[1]}\n"
           "    case \"$command $previous\" in\n" +
           values + "        *) case $command in\n" + rest +
           "        esac ;;\n"
           "    esac\n"
           "    if [[ $files ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -f -- \"$word\")\n"
           "    else\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
           "    fi\n"
           "}\n"
           "complete -o filenames -F _tracehost tracehost\n";
}

std::string ZshCompletion(const std::vector<CompletedCommand>& commands) {
    std::string names;
    std::string cases;
    for (const CompletedCommand& command : commands) {
        if (command.name.empty()) continue;
        names += "        " + Quoted(command.name + ":" + command.description) + "\n";
        cases += "            " + command.name + ")\n                " +
                 ZshArguments(command, "                    ") + " ;;\n";
    }
    CompletedCommand program = commands.front();
    program.positionals.clear();
    return "#compdef tracehost\n"
           "# What \"tracehost completion zsh\" prints.\n"
           "_tracehost() {\n"
           "    local context state line\n"
           "    local -a commands\n"
           "    commands=(\n" +
           names + "    )\n    " + ZshArguments(program, "        ") +
           " \\\n"
           "        '1:COMMAND:->command' \\\n"
           "        '*::argument:->argument'\n"
           "    case $state in\n"
           "        command) _describe COMMAND commands ;;\n"
           "        argument) case $line[1] in\n" +
           cases +
           "        esac ;;\n"
           "    esac\n"
           "}\n"
           "_tracehost \"$@\"\n";
}

std::string FishCompletion(const std::vector<CompletedCommand>& commands) {
    std::string text =
        "# What \"tracehost completion fish\" prints.\n"
        "complete -c tracehost -f\n";
    for (const CompletedCommand& command : commands) {
        if (!command.name.empty()) {
            text += FishLine("") + " -a " + command.name + " -d " + FishQuoted(command.description) + "\n";
        }
        for (const Completion& option : command.options) text += FishCompletion(command.name, option);
        if (command.name.empty()) continue;  // whose words are told above
        for (const Completion& positional : command.positionals) {
            text += FishCompletion(command.name, positional);
        }
    }
    return text;
}

}  // namespace Korr::Plim::Trace::Tracehost
