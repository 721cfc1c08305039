// Writes the completions of TovraFieldhostSetupTool for two shells: Completions <file for bash> <file for zsh>.

#include <Fieldhost/Tools/Options.h>

#include <format>
#include <fstream>
#include <string>
#include <string_view>

namespace {

using Tovra::Fieldhost::Tools::Option;
using Tovra::Fieldhost::Tools::options;

constexpr std::string_view program = "TovraFieldhostSetupTool";

/// All options as the shell's words, with one dash or two.
std::string GetWords(std::string_view dashes) {
    std::string words;
    for (const Option& option : options) {
        words += std::format(" {}{} {}{}", dashes, option.name, dashes, option.shortName);
    }
    return words.substr(1);
}

std::string ComposeForBash() {
    return std::format(R"(# Completions of {0} for bash.

_{0}() {{
    local words="{1}"
    case ${{COMP_WORDS[COMP_CWORD]}} in
        --*) words="{2}" ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "${{COMP_WORDS[COMP_CWORD]}}")
}}

complete -F _{0} {0}
)",
                       program, GetWords("-"), GetWords("--"));
}

std::string ComposeForZsh() {
    std::string text = std::format("#compdef {}\n\n_arguments", program);
    for (const Option& option : options) {
        for (const std::string_view name : {option.name, option.shortName}) {
            text += std::format(" \\\n    '-{}[{}]'", name, option.description);
        }
    }
    return text + '\n';
}

} // namespace

int main(int, char** arguments) {
    std::ofstream(arguments[1]) << ComposeForBash();
    std::ofstream(arguments[2]) << ComposeForZsh();
    return 0;
}
