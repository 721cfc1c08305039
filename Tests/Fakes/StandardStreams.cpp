#include <Fakes/StandardStreams.h>
#include <Fieldhost/Tools/StandardStreams.h>

namespace Tovra::Fieldhost::Tools {

void SecureStandardStreams() {}

void WriteToStandardOutput(std::string_view text) {
    Tests::Fakes::standardStreams.writes.emplace_back(text);
    if (Tests::Fakes::standardStreams.onWrite) {
        Tests::Fakes::standardStreams.onWrite();
    }
}

} // namespace Tovra::Fieldhost::Tools
