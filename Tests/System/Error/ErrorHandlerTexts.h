#pragma once

#include <string>

/// What the error handler writes, for the failures of ErrorHandlerChild.cpp.
namespace Tovra::Tests {

inline const std::string positionBlock = "\nCallstack:\n\t[0]: /System/Log/Logger.cpp at 26: Write\n";
inline const std::string assertionBlock =
    "Assertion: config != nullptr\n\tMessage: Function parameter 'config' must be non-null.\n" + positionBlock;
inline const std::string exceptionBlock = "Exception: Tovra::Exception\n"
                                          "\tMessage: Internal state doesn't match file state.\n"
                                          "\tCode:    0x0000001e01f70002\n" +
                                          positionBlock;
inline const std::string standardBlock = "Exception: std::exception\n\tMessage: Text.\n";
inline const std::string unhandledExceptionBlock = "Unhandled " + exceptionBlock;
inline const std::string unhandledStandardBlock = "Unhandled " + standardBlock;

/// The line in the error handler doesn't matter.
inline const std::string noApplicationBlock = "Assertion: s_instance != nullptr\n"
                                              "\tMessage: No application instance was created.\n"
                                              "\n"
                                              "Callstack:\n"
                                              "\t[0]: /System/Error/ErrorHandler.cpp at N: OnSignal\n";

inline const std::string interruptText =
    "Signal 'SIGINT' was raised (most likely by an user, script, etc.) to initiate an "
    "interruption of program execution.\n";
inline const std::string instructionText =
    "Signal 'SIGILL' was raised to due to an invalid instruction. Executable may be invalid.\n";
inline const std::string unhandledAbortText =
    "Signal 'SIGABRT' was raised due to an abnormal condition like an unhandled exception.\n";
inline const std::string abortText = "Signal 'SIGABRT' was raised due to an unknown abnormal condition.\n";
inline const std::string arithmeticText =
    "Signal 'SIGFPE' was raised to due to an erronouse arithmetic operation such as a divide by zero.\n";
inline const std::string accessText =
    "Signal 'SIGSEGV' was raised due to an invalid memory access (segmentation fault).\n";
inline const std::string unhandledTerminationText =
    "Signal 'SIGTERM' was raised to terminate the program due to an unhandled exception.\n";
inline const std::string terminationText =
    "Signal 'SIGTERM' was raised to terminate the program due to an unknown reason.\n";
inline const std::string unknownText = "Unknown signal was raised.\n";
inline const std::string inFlightText = "Signal handler detected unhandled exceptions.\n";

/// The runtime's message when an exception leaves the terminate handler.
inline const std::string leftHandlerText = "libc++abi: terminate_handler unexpectedly threw an exception\n";

} // namespace Tovra::Tests
