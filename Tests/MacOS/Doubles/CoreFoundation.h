#pragma once

#include <MacOS/Doubles/Objects.h>

#include <map>
#include <string>

namespace Tovra::Tests::Doubles {

/// The bundles, by their path, with the content of their information.
struct Bundles {
    std::map<std::string, Dictionary> all;
};

inline Bundles& bundles = Fakes::GetState<Bundles>();

} // namespace Tovra::Tests::Doubles
