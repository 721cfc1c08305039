#include <System/Environment/Module.h>

namespace Tovra {

Module Module::s_instance;

std::uint32_t Module::GetID() const {
    return 12;
}

const char* Module::GetName() const {
    return "TovraFieldhostSetupTool";
}

const wchar_t* Module::GetNameWide() const {
    return L"TovraFieldhostSetupTool";
}

} // namespace Tovra
