// Linked with --wrap, this stands before the runtime's own function: the handler that was set is not the one in force.

#include <exception>

extern "C" std::terminate_handler __wrap__ZSt13get_terminatev() {
    return nullptr;
}
