#pragma once

#include <string>

namespace Tovra::Tests {

/// The setup tool's help. Its usage line contains only the first half of the tool's name, and NUL bytes.
std::string GetHelpOutput();

/// The setup tool's catalogue of return codes.
std::string GetCatalogueOutput();

/// The setup tool's output for an invalid command line.
std::string GetWrongParametersOutput();

/// A command's result as printed; `data` is the single member of its data: "\"value\": false".
std::string GetResultOutput(const std::string& name, int code, const std::string& data);

} // namespace Tovra::Tests
