#include <System/Environment/DirectoryCache.h>

namespace Tovra::System::Environment {

constinit DirectoryCache DirectoryCache::m_instance;

bool DirectoryCache::Initialize() {
    return Variable::Load("HOME", m_instance.m_home);
}

} // namespace Tovra::System::Environment
