// The process that DevelopmentErrorHandlerTest.cpp starts: fails in the way that its argument names.

#include <System/Error/Assertion.h>
#include <System/Error/ErrorHandler.h>
#include <System/Runtime/Application.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>

namespace {

using Tovra::System::Debug::CallStack;
using Tovra::System::Error::CategoryID;
using Tovra::System::Error::ErrorException;
using Tovra::System::Error::ErrorHandler;
using FoundationException = ErrorException<CategoryID::Foundation, 1>;

[[noreturn]] void Throw() {
    throw FoundationException(CallStack("File.cpp", 7, "Function"), {"What failed."});
}

const std::map<std::string, std::function<void()>> s_ways{
    {"assert", [] { TOVRA_ASSERT(s_ways.empty(), "It is not empty."); }},
    {"throw", Throw},
    {"throw standard", [] { throw std::runtime_error("What failed."); }},
    {"throw number", [] { throw 7; }},
    {"terminate", [] { std::terminate(); }},
    {"handle",
     [] {
         try {
             Throw();
         } catch (const FoundationException& exception) {
             exception.SetHandled();
             ErrorHandler::s_instance.OnException(exception);
         }
         ErrorHandler::s_instance.OnException(std::runtime_error("What else failed."), true);
     }},
    {"interrupt", [] { std::raise(SIGINT); }},
    {"handle signal",
     [] {
         std::signal(SIGTERM, SIG_IGN);
         Tovra::System::Error::SignalHandler(SIGTERM);
     }},
    {"initialize",
     [] {
         Tovra::System::Runtime::Application application(L"Name");
         std::fputs(ErrorHandler::s_instance.Initialize(application) ? "initialized" : "not initialized", stderr);
     }},
    {"find dump",
     [] {
         std::wstring path = L"as before";
         const bool isFound = ErrorHandler::s_instance.GenerateDumpingFilePath(0, path);
         std::fputs(isFound || path != L"as before" ? "found" : "none", stderr);
     }},
};

} // namespace

int main(int, char** arguments) {
    s_ways.at(arguments[1])();
    return 0;
}
