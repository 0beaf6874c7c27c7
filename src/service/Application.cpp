#include "service/Application.h"

#include "base/ErrorUtils.h"
#include "base/LogMacros.h"
#include "service/ArgumentParser.h"
#include "service/ConsoleControlSignalTranslator.h"
#include "service/SignalHandler.h"

namespace norq_std {

Application::Application()
    : argumentParser(std::make_unique<ArgumentParser>())
    , signalHandler(std::make_unique<SignalHandler>()) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Application::Application");
    ConsoleControlSignalTranslator::getInstance();
}

Application::~Application() = default;

WString Application::toString() const { return u"Application{}"; }

void Application::initializeLogging(const WChar* name) {
    ErrorUtils::isNullEx(name, u"norq_std::Application::initializeLogging", u"name");
    StaticLog::initInstance(name);
}

void Application::parseArguments(int argc, const WChar* const* argv) { argumentParser->parseArguments(argc, argv); }

void Application::parseArguments(int argc, const char* const* argv) { argumentParser->parseArguments(argc, argv); }

} // namespace norq_std
