#pragma once

#include <string>

namespace Tovra::Tests {

/// All that the setup tool prints as help: the usage line shows only the front half of its name, with zero bytes.
std::string GetHelpOutput();

/// All that the setup tool prints as its catalogue of return codes.
std::string GetCatalogueOutput();

/// All that the setup tool prints about a command line that it can't use.
std::string GetWrongParametersOutput();

/// A command's result as it is printed; `data` is the one member of its data: "\"value\": false".
std::string GetResultOutput(const std::string& name, int code, const std::string& data);

} // namespace Tovra::Tests
