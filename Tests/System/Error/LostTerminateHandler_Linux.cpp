// Linked with --wrap, this replaces the runtime's function, so that the handler just set seems not to be in force.

#include <exception>

extern "C" std::terminate_handler __wrap__ZSt13get_terminatev() {
    return nullptr;
}
