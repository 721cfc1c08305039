#include <Fakes/StandardStreams.h>
#include <Fieldhost/Tools/StandardStreams.h>

namespace Tovra::Fieldhost::Tools {

void SecureStandardStreams() {}

bool WriteToStandardOutput(std::string_view text) {
    Tests::Fakes::standardStreams.writes.emplace_back(text);
    if (Tests::Fakes::standardStreams.onWrite) {
        Tests::Fakes::standardStreams.onWrite();
    }
    return true;
}

} // namespace Tovra::Fieldhost::Tools
