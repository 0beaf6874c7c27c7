#include "concurrency/Concurrency.h"
#include "exception/NorqException.h"
#include "service/AbstractDestructProcessor.h"
#include "service/AbstractExceptionHandler.h"
#include "service/AbstractService.h"
#include "service/ArgumentParser.h"
#include "service/ConsoleControlSignalTranslator.h"
#include "service/ServiceComponent.h"
#include "service/ServiceComponentManager.h"
#include "service/ServiceController.h"
#include "support/Limits.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using namespace norq_std;

struct CommandLine {
    std::vector<const WChar*> arguments;
    WString name;
    WString value; ///< "none" where the switch is not there
};

TEST(ArgumentParser, TakesSwitchesAndTheirValues) {
    const CommandLine lines[] = {
        {{u"-F"}, u"F", u""},
        {{u"-f"}, u"F", u"none"},
        {{u"-pabc"}, u"p", u"abc"},
        {{u"-p \t abc "}, u"p", u"abc"},
        {{u"-p", u" abc "}, u"p", u" abc "},
        {{u"-a1", u"2", u"3"}, u"a", u"123"},
        {{u"-a1", u"-", u"2"}, u"a", u"12"},
        {{u"-a1", u"-b", u"2", u"-a9", u"3"}, u"a", u"13"},
        {{u"lost", u"", u"-a"}, u"a", u""},
        {{u"--foo"}, u"-", u"foo"},
        {{}, u"a", u"none"},
        {{u"-a1", nullptr, u"2"}, u"a", u"1"},
    };
    ArgumentParser parser;
    for (const CommandLine& line : lines) {
        std::vector<const WChar*> argv{u"-program"};
        argv.insert(argv.end(), line.arguments.begin(), line.arguments.end());
        parser.parseArguments(static_cast<int>(argv.size()), argv.data());
        const bool there = parser.argumentParsed(line.name);
        EXPECT_EQ(there ? parser.argumentValue(line.name) : u"none", line.value);
    }
    try {
        parser.argumentValue(u"F");
        FAIL();
    } catch (const NorqIllegalArgumentException& e) {
        EXPECT_EQ(e.getMessage(), u"The argument \"F\" was not parsed.");
    }
    EXPECT_THROW(parser.parseArguments(2, static_cast<const WChar**>(nullptr)), NorqIllegalArgumentException);
}

TEST(ArgumentParser, WidensWhatMainIsGiven) {
    ArgumentParser parser;
    const char* argv[] = {"program", "-p\xC3\xA4", "\xE2\x82\xAC", "\xFF", nullptr};
    parser.parseArguments(4, argv);
    EXPECT_EQ(parser.argumentValue(u"p"), u"\u00E4\u20AC\uFFFD");
    parser.parseArguments(0, static_cast<const char**>(nullptr));
    EXPECT_FALSE(parser.argumentParsed(u"p"));
}

class Part : public ServiceComponent {
public:
    Part(const WString& partName, std::vector<WString>& partCalls)
        : name(partName)
        , calls(partCalls) {}

    WString getComponentName() override { return name; }

    bool fails = false;

protected:
    void onStart() override { call(u" start"); }
    void onStop() override { call(u" stop"); }
    void onSetActive(bool active) override { call(active ? u" on" : u" off"); }

private:
    void call(const WString& operation) {
        if (fails)
            throw NorqIOException(u"no");
        calls.push_back(name + operation);
    }

    const WString name;
    std::vector<WString>& calls;
};

TEST(ServiceComponentManager, WalksInOrderOfRegistrationUpToTheFirstFailure) {
    std::vector<WString> calls;
    const auto a = std::make_shared<Part>(u"a", calls);
    const auto b = std::make_shared<Part>(u"b", calls);
    const auto namesake = std::make_shared<Part>(u"a", calls);
    ServiceComponentManager manager;
    for (const auto& part : {a, b, namesake, a, std::shared_ptr<Part>()})
        manager.registerComponent(part);
    EXPECT_EQ(manager.getComponents(), (ServiceComponentManager::Components{a, b, namesake}));
    EXPECT_EQ(manager.getComponent(u"a"), a);
    EXPECT_EQ(manager.getComponent(u"c"), nullptr);

    manager.startAll();
    EXPECT_EQ(b->getComponentState(), COMPONENT_ACTIVE);
    manager.setAllActive(false);
    EXPECT_EQ(b->getComponentState(), COMPONENT_INACTIVE);
    b->fails = true;
    calls.clear();
    EXPECT_THROW(manager.stopAll(), NorqIOException);
    EXPECT_EQ(calls, std::vector<WString>{u"a stop"});
    EXPECT_EQ(a->getComponentState(), COMPONENT_STOPPED);
    EXPECT_EQ(b->getComponentState(), COMPONENT_INACTIVE);
    EXPECT_EQ(namesake->getComponentState(), COMPONENT_INACTIVE);
    EXPECT_THROW(manager.startAll(), NorqIOException);
    EXPECT_EQ(b->getComponentState(), COMPONENT_INACTIVE);
    b->fails = false;
    manager.startAll();
    EXPECT_EQ(b->getComponentState(), COMPONENT_ACTIVE);
}

class Link : public AbstractExceptionHandler {
public:
    explicit Link(int handlerResult)
        : result(handlerResult) {}
    int asked = 0;

protected:
    ExceptionState handleException(const std::exception&) override {
        ++asked;
        return static_cast<ExceptionState>(result);
    }

private:
    const int result;
};

TEST(ExceptionHandlers, PassOnWhatTheyDoNotHandle) {
    const auto first = std::make_shared<Link>(2);
    const auto second = std::make_shared<Link>(2);
    const auto third = std::make_shared<Link>(7);
    const std::runtime_error exception("failure");
    EXPECT_EQ(first->startHandling(exception), EXCEPTION_NOT_HANDLED);
    first->appendSuccessor(second);
    first->appendSuccessor(third);
    EXPECT_EQ(first->getSuccessor(), second);
    EXPECT_EQ(second->getSuccessor(), third);
    EXPECT_EQ(static_cast<int>(first->startHandling(exception)), 7);
    second->resetSuccessor(std::make_shared<Link>(0));
    EXPECT_EQ(static_cast<int>(first->startHandling(exception)), 0);
    first->resetSuccessor(nullptr);
    EXPECT_EQ(first->startHandling(exception), EXCEPTION_NOT_HANDLED);
    EXPECT_EQ(first->asked, 4);
    EXPECT_EQ(second->asked, 2);
    EXPECT_EQ(third->asked, 1);
}

TEST(ConsoleControlSignalTranslator, RefusesWhatIsNoSignal) {
    ConsoleControlSignalTranslator& translator = ConsoleControlSignalTranslator::getInstance();
    for (const int signal : {9999, 65, -1})
        EXPECT_THROW(translator.setTranslationForCode(77, signal), NorqIllegalArgumentException);
    EXPECT_NO_THROW(translator.ignoreControlCode(77));
}

class Service : public AbstractService {
public:
    WString getServiceName() override { return u"service"; }
    void onStart() override { started(); }
    void onStop() override { ++stops; }
    void run() override { EXPECT_EQ(Concurrency::waitForSingleObject(stopEvent, norqstd_test::longLimitMillis()), 0); }
    void onSessionLock(const WString& user, const WString& domain, std::uint32_t sessionId) override {
        session = user + domain + WString(sessionId, u'!');
    }

    std::function<void()> started = [] {};
    std::atomic<int> stops = 0;
    WString session;
};

class Controller : public ServiceController {
public:
    using ServiceController::callServiceInForeground;
    using ServiceController::callServiceOnSessionLock;
    using ServiceController::callServiceStart;
    using ServiceController::callServiceStop;
    using ServiceController::ServiceController;
    void start() override {}
    void stop(bool) override {}
};

TEST(AbstractService, RunsInTheForegroundUntilStopped) {
    Service service;
    Controller controller(&service);
    EXPECT_FALSE(controller.callServiceInForeground());
    const char* argv[] = {"program", "-F"};
    service.parseArguments(2, argv);
    EXPECT_TRUE(controller.callServiceInForeground());

    service.started = [] { throw NorqIllegalStateException(u"not now"); };
    EXPECT_THROW(service.start(), NorqIllegalStateException);

    std::thread stopper;
    service.started = [&] { stopper = std::thread([&] { controller.callServiceStop(); }); };
    EXPECT_TRUE(controller.callServiceStart());
    stopper.join();
    EXPECT_EQ(service.stops, 1);

    controller.callServiceOnSessionLock(u"user", u"@domain", 2);
    EXPECT_EQ(service.session, u"user@domain!!");
    try {
        const Controller none(nullptr);
        FAIL();
    } catch (const NorqIllegalArgumentException& e) {
        EXPECT_EQ(e.getMessage(), u"The service object is null.");
        EXPECT_EQ(e.getErrNum(), 2);
    }
    EXPECT_THROW(Application::initializeLogging(nullptr), NorqIllegalArgumentException);
}

} // namespace
