// Writes the completions of both programs for two shells, made of the tables of their options: Completions FOLDER. For
// bash <program>.bash, for zsh _<program>.

#include <Fieldhost/Tools/Options.h>

#include <Diagnose/Options.h>

#include <filesystem>
#include <format>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace Diagnose = Tovra::Fieldhost::Diagnose;
namespace Tools = Tovra::Fieldhost::Tools;

/// An option under one of its names.
struct Name {
    std::string_view name; ///< Without dashes.
    std::string_view description;
    std::string_view value = {}; ///< What its value is; empty if it takes none.
};

/// A program and all names of its options.
struct Program {
    std::string_view name;
    std::vector<Name> options;
};

Program DescribeSetupTool() {
    Program program{.name = "TovraFieldhostSetupTool", .options = {}};
    for (const Tools::Option& option : Tools::options) {
        program.options.push_back({option.name, option.description});
        program.options.push_back({option.shortName, option.description});
    }
    return program;
}

Program DescribeDiagnose() {
    Program program{.name = "TovraFieldhostDiagnose", .options = {}};
    for (const Diagnose::OptionDescription& option : Diagnose::options) {
        program.options.push_back({option.name, option.description, option.value});
        program.options.push_back({option.shortName, option.description, option.value});
    }
    return program;
}

/// All options as the shell's words, with one dash or two.
std::string GetWords(const Program& program, std::string_view dashes) {
    std::string words;
    for (const Name& option : program.options) {
        words += std::format(" {}{}", dashes, option.name);
    }
    return words.substr(1);
}

/// The options with a value, behind which no option is offered, as a pattern; one that nothing matches if there are
/// none.
std::string GetPattern(const Program& program) {
    std::string pattern;
    for (const Name& option : program.options) {
        if (!option.value.empty()) {
            pattern += std::format("|-{0}|--{0}", option.name);
        }
    }
    return pattern.empty() ? "''" : pattern.substr(1);
}

std::string ComposeForBash(const Program& program) {
    return std::format(R"(# Completions of {0} for bash.

_{0}() {{
    local words="{1}"
    case ${{COMP_WORDS[COMP_CWORD]}} in
        --*) words="{2}" ;;
    esac
    case ${{COMP_WORDS[COMP_CWORD - 1]}} in
        {3}) words= ;;
    esac
    # shellcheck disable=SC2207 # The words have no blanks, and the bash of macOS, 3.2, has no mapfile.
    COMPREPLY=($(compgen -W "$words" -- "${{COMP_WORDS[COMP_CWORD]}}"))
}}

complete -F _{0} {0}
)",
                       program.name, GetWords(program, "-"), GetWords(program, "--"), GetPattern(program));
}

std::string ComposeForZsh(const Program& program) {
    std::string text = std::format("#compdef {}\n\n_arguments", program.name);
    for (const std::string_view dashes : {"-", "--"}) {
        for (const Name& option : program.options) {
            text += std::format(" \\\n    '{}{}[{}]{}'", dashes, option.name, option.description,
                                option.value.empty() ? "" : std::format(":{}:", option.value));
        }
    }
    return text + '\n';
}

} // namespace

int main(int, char** arguments) {
    const std::filesystem::path folder = arguments[1];
    for (const Program& program : {DescribeSetupTool(), DescribeDiagnose()}) {
        std::ofstream(folder / std::format("{}.bash", program.name)) << ComposeForBash(program);
        std::ofstream(folder / std::format("_{}", program.name)) << ComposeForZsh(program);
    }
    return 0;
}
