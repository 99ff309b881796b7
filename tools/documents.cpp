#include "documents.h"

#include "failure.h"
#include "version.h"

#include <cstdio>
#include <sstream>

namespace talv
{
namespace
{

/* The exit statuses (failure.h), for the manual */
struct StatusText {
    Status status;
    const char *text;
};
constexpr StatusText STATUS_TEXTS[] = {
    {Status::done, "done"},
    {Status::failed, "failed otherwise, or in several ways"},
    {Status::usage, "wrong arguments"},
    {Status::unreadable, "input cannot be read"},
    {Status::alien, "input is not what it should be"},
    {Status::truncated, "input is cut off"},
    {Status::odd_length, "bare frames of a length that is no multiple of 8"},
    {Status::damaged, "input was damaged in places, and the rest is decoded"},
    {Status::unwritable, "output cannot be written"},
    {Status::full, "no space for the output"},
    {Status::pipe_closed, "the reader of the output has gone"},
    {Status::collision, "an output is an input, or the output of another input"},
};

std::vector<const CLI::App *> commands_of(const CLI::App &app)
{
    return app.get_subcommands([](const CLI::App *command) { return !command->get_group().empty(); });
}

std::vector<const CLI::Option *> options_of(const CLI::App &app)
{
    return app.get_options([](const CLI::Option *option) { return option->nonpositional(); });
}

std::vector<const CLI::Option *> positionals_of(const CLI::App &app)
{
    return app.get_options([](const CLI::Option *option) { return option->get_positional(); });
}

bool takes_value(const CLI::Option &option)
{
    return option.get_items_expected_max() > 0;
}

/* -x and --name, each with its dashes */
std::vector<std::string> names_of(const CLI::Option &option)
{
    std::vector<std::string> names;
    for (const std::string &name : option.get_snames())
        names.push_back("-" + name);
    for (const std::string &name : option.get_lnames())
        names.push_back("--" + name);
    return names;
}

std::string roff(const std::string &text)
{
    std::string s;
    for (const char c : text) {
        if (c == '\\')
            s += "\\e";
        else if (c == '-')
            s += "\\-";
        else if ((c == '.' || c == '\'') && (s.empty() || s.back() == '\n'))
            s += std::string("\\&") + c;
        else
            s += c;
    }
    return s;
}

void man_options(const CLI::App &app)
{
    for (const CLI::Option *option : options_of(app)) {
        std::string names;
        for (const std::string &name : names_of(*option))
            names += (names.empty() ? "" : ", ") + name;
        std::printf(".TP\n\\fB%s\\fR%s\n%s\n", roff(names).c_str(), takes_value(*option) ? " \\fIVALUE\\fR" : "",
                    roff(option->get_description()).c_str());
    }
}

void print_man(const CLI::App &app)
{
    std::printf(".TH TALV 1 \"\" \"%s\"\n.SH NAME\ntalv \\- speech at 2000 bit/s\n.SH SYNOPSIS\n", VERSION);
    const char *between = "";
    for (const CLI::App *command : commands_of(app)) {
        std::printf("%s.B talv %s\n[\\fIOPTION\\fR]...", between, command->get_name().c_str());
        for (const CLI::Option *positional : positionals_of(*command))
            std::printf(" \\fI%s\\fR", roff(positional->get_name()).c_str());
        std::printf("\n");
        between = ".br\n";
    }
    const std::string notes = app.get_footer();
    std::printf(".SH DESCRIPTION\n%s\n.SH OPTIONS\n", roff(notes.substr(0, notes.find("\nExit status:"))).c_str());
    man_options(app);
    std::printf(".SH COMMANDS\n");
    for (const CLI::App *command : commands_of(app)) {
        std::printf(".SS talv %s\n%s.\n.PP\n%s\n", command->get_name().c_str(),
                    roff(command->get_description()).c_str(), roff(command->get_footer()).c_str());
        for (const CLI::Option *positional : positionals_of(*command))
            std::printf(".TP\n\\fI%s\\fR\n%s\n", roff(positional->get_name()).c_str(),
                        roff(positional->get_description()).c_str());
        man_options(*command);
    }
    std::printf(".SH EXIT STATUS\n");
    for (const StatusText &s : STATUS_TEXTS)
        std::printf(".TP\n.B %d\n%s\n", static_cast<int>(s.status), s.text);
    std::printf(".SH FILES\n.TP\n\\fI.talv\\fR\nspeech in Ogg\n.TP\n\\fI.frames\\fR\nbare frames of 8 bytes\n");
    std::printf(
        ".SH EXAMPLES\n.nf\ntalv encode speech.flac speech.talv\ntalv decode speech.talv speech.wav\n"
        "talv encode \\-r \\-j 4 recordings \\-d coded\n"
        "arecord \\-f S16_LE \\-r 8000 \\-t raw | talv encode \\-\\-raw \\- \\- | talv decode \\- \\- | aplay\n.fi\n");
}

std::string all_options(const CLI::App &app)
{
    std::string words;
    for (const CLI::Option *option : options_of(app))
        for (const std::string &name : names_of(*option))
            words += (words.empty() ? "" : " ") + name;
    return words;
}

std::string all_commands(const CLI::App &app)
{
    std::string words;
    for (const CLI::App *command : commands_of(app))
        words += (words.empty() ? "" : " ") + command->get_name();
    return words;
}

void print_bash(const CLI::App &app)
{
    std::printf("_talv()\n{\n    local word=${COMP_WORDS[COMP_CWORD]} options=\n    COMPREPLY=()\n"
                "    if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
                "        COMPREPLY=($(compgen -W '%s %s' -- \"$word\"))\n        return\n    fi\n"
                "    case ${COMP_WORDS[1]} in\n",
                all_commands(app).c_str(), all_options(app).c_str());
    for (const CLI::App *command : commands_of(app))
        std::printf("    %s) options='%s' ;;\n", command->get_name().c_str(), all_options(*command).c_str());
    std::printf("    esac\n    case $word in\n    -*) COMPREPLY=($(compgen -W \"$options\" -- \"$word\")) ;;\n"
                "    *) compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -f -- \"$word\") ;;\n"
                "    esac\n}\ncomplete -F _talv talv\n");
}

/* A description within single quotes, without the characters that zsh takes for its own */
std::string plain(const std::string &text)
{
    std::string s;
    for (const char c : text)
        if (c == '[' || c == ']' || c == ':' || c == '\'')
            s += ' ';
        else
            s += c;
    return s;
}

void print_zsh(const CLI::App &app)
{
    std::printf("#compdef talv\n_talv() {\n    if (( CURRENT == 2 )); then\n        local -a commands=(\n");
    for (const CLI::App *command : commands_of(app))
        std::printf("            '%s:%s'\n", command->get_name().c_str(), plain(command->get_description()).c_str());
    std::printf("        )\n        _describe command commands\n        return\n    fi\n    local command=$words[2]\n"
                "    shift words\n    (( CURRENT-- ))\n    case $command in\n");
    for (const CLI::App *command : commands_of(app)) {
        std::printf("    %s)\n        _arguments", command->get_name().c_str());
        for (const CLI::Option *option : options_of(*command))
            for (const std::string &name : names_of(*option))
                std::printf(" \\\n            '%s[%s]%s'", name.c_str(), plain(option->get_description()).c_str(),
                            takes_value(*option) ? ":value:_files" : "");
        std::printf(" \\\n            '*:file:_files' ;;\n");
    }
    std::printf("    esac\n}\n_talv \"$@\"\n");
}

void print_fish(const CLI::App &app)
{
    for (const CLI::App *command : commands_of(app)) {
        const std::string name = command->get_name();
        std::printf("complete -c talv -n __fish_use_subcommand -f -a %s -d '%s'\n", name.c_str(),
                    plain(command->get_description()).c_str());
        for (const CLI::Option *option : options_of(*command)) {
            std::printf("complete -c talv -n '__fish_seen_subcommand_from %s'", name.c_str());
            for (const std::string &s : option->get_snames())
                std::printf(" -s %s", s.c_str());
            for (const std::string &l : option->get_lnames())
                std::printf(" -l %s", l.c_str());
            std::printf("%s -d '%s'\n", takes_value(*option) ? " -r" : "", plain(option->get_description()).c_str());
        }
    }
}

} // namespace

std::string exit_statuses()
{
    std::string lines;
    for (const StatusText &s : STATUS_TEXTS) {
        const std::string number = std::to_string(static_cast<int>(s.status));
        lines += std::string(5 - number.size(), ' ') + number + "  " + s.text + "\n";
    }
    return lines;
}

void print_document(const CLI::App &app, const std::string &kind)
{
    if (kind == "man")
        print_man(app);
    else if (kind == "bash")
        print_bash(app);
    else if (kind == "zsh")
        print_zsh(app);
    else
        print_fish(app);
}

} // namespace talv
