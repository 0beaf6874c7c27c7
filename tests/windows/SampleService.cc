// A service to run under a manager. The variable SAMPLE chooses what it is: "legacy", or a service whose "start" or
// "stop" fails. It tells what it is told on standard output.

#include "concurrency/Concurrency.h"
#include "exception/NorqException.h"
#include "service/AbstractService.h"
#include "windows/SNTServiceBase.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string_view>

namespace {

void say(const char* text) {
    std::puts(text);
    std::fflush(stdout);
}

bool is(std::string_view kind) {
    const char* const chosen = std::getenv("SAMPLE");
    return chosen != nullptr && kind == chosen;
}

class Sample : public norq_std::AbstractService {
public:
    norq_std::WString getServiceName() override { return u"sample"; }
    void onStart() override {
        if (is("start"))
            throw norq_std::NorqRuntimeException(u"no start", 5);
        say("onStart");
    }
    void onStop() override {
        say("onStop");
        stopEvent.signal();
        if (is("stop") || is("stops itself"))
            throw norq_std::NorqRuntimeException(u"no stop", 5);
    }
    void onSessionLogon(const norq_std::WString& user, const norq_std::WString& domain, std::uint32_t id) override {
        tell("logon", user, domain, id);
    }
    void onSessionLogoff(const norq_std::WString& user, const norq_std::WString& domain, std::uint32_t id) override {
        tell("logoff", user, domain, id);
    }
    void onSessionRemoteConnect(const norq_std::WString& user, const norq_std::WString& domain,
                                std::uint32_t id) override {
        tell("remote", user, domain, id);
    }
    void onSessionConsoleConnect(const norq_std::WString& user, const norq_std::WString& domain,
                                 std::uint32_t id) override {
        tell("console", user, domain, id);
    }
    void onSessionLock(const norq_std::WString& user, const norq_std::WString& domain, std::uint32_t id) override {
        tell("lock", user, domain, id);
    }
    void run() override {
        while (is("stops itself"))
            stopItself();
        norq_std::Concurrency::waitForSingleObject(stopEvent, -1);
        say("run ends");
    }

private:
    void stopItself() {
        try {
            stop(true); // does nothing while the service starts
        } catch (const norq_std::NorqRuntimeException&) {
            std::_Exit(4);
        }
    }
    static void tell(const char* what, const norq_std::WString& user, const norq_std::WString& domain,
                     std::uint32_t id) {
        const std::string name(user.begin(), user.end());
        std::printf("%s %s %d %u\n", what, name.c_str(), domain.empty() ? 0 : 1, id);
        std::fflush(stdout);
    }
};

class LegacySample : public NorqStd::SNTServiceBase {
public:
    LegacySample()
        : SNTServiceBase(u"norqstd sample", &LegacySample::work, 1, 2,
                         norq_std::WString(u"dbus\0+network-online\0\0", 22), 0x10, 0x7) {}
    int OnInit() override {
        say("OnInit");
        if (is("throws"))
            throw norq_std::NorqRuntimeException(u"no init", 5);
        return is("refused") ? 0 : 1;
    }
    void OnStop() override {
        ending = true;
        say("OnStop");
    }
    void OnPause() override { say("OnPause"); }
    void OnContinue() override { say("OnContinue"); }
    void OnInterrogate() override { say("OnInterrogate"); }
    void OnShutdown() override { say("OnShutdown"); }
    int OnUserControl(std::uint32_t control) override { return control == 201 ? 1 : 0; }

    int work() {
        say("works");
        std::mutex pace; // the thread sanitizer delivers signals in calls like these alone
        while (!ending)  // and not for `running`, which a pause takes back too
            pace.lock(), pace.unlock();
        return 0;
    }

private:
    static std::uint32_t work(void*) { return static_cast<std::uint32_t>(active().work()); }
    std::atomic<bool> ending{false};

    static LegacySample& active() { return *static_cast<LegacySample*>(_instance.load()); }
};

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 || is("legacy") || is("refused") || is("throws")) {
        LegacySample service;
        if (service.ParseStandardArgs(argc, argv) != 0)
            return 0;
        return service.Start() != 0 ? 0 : 1;
    }
    Sample service;
    service.parseArguments(argc, argv);
    try {
        return service.start() ? 3 : 0;
    } catch (const norq_std::NorqException&) {
        return 2;
    }
}
