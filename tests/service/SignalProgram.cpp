// A program that does what its arguments say, word by word, and reports on descriptor 3. The tests start it under a
// terminal.

#include "concurrency/Concurrency.h"
#include "exception/NorqException.h"
#include "service/AbstractService.h"
#include "service/ConsoleControlSignalTranslator.h"
#include "service/SignalHandler.h"
#include "service/SignalMultiHandler.h"
#include "thread/Thread.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <semaphore.h>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace norq_std;

constexpr int Reports = 3;

sem_t handled;

/// On the stack alone: it serves in signal handlers too.
void report(std::string_view text, int number = -1) {
    char line[80];
    std::size_t length = text.copy(line, 60);
    if (number >= 10)
        line[length++] = static_cast<char>('0' + number / 10 % 10);
    if (number >= 0)
        line[length++] = static_cast<char>('0' + number % 10);
    line[length++] = '\n';
    if (write(Reports, line, length) < 0)
        _exit(99);
}

void onSignal(int signal) {
    report(gettid() == getpid() ? "here " : "apart ", signal);
    sem_post(&handled);
}

void onSignalToo(int signal) {
    report("too ", signal);
    sem_post(&handled);
}

void hang(int signal) {
    report("hanging ", signal);
    for (;;)
        pause();
}

void waitForHandler() {
#if defined(__SANITIZE_THREAD__) // it keeps a signal that meets another one's handler until a blocking call ends
    for (timespec limit{}; sem_timedwait(&handled, &limit) != 0;) {
        clock_gettime(CLOCK_REALTIME, &limit);
        ++limit.tv_sec;
    }
#else
    while (sem_wait(&handled) != 0) {
    }
#endif
}

class Service : public AbstractService {
public:
    WString getServiceName() override { return u"signal-program"; }
    void onStart() override { report("onStart"); }
    void onStop() override {
        report("onStop");
        if (stopHangs)
            hang(0);
        toldToStop.signal();
    }
    void run() override {
        report("ready");
        if (raises)
            std::raise(SIGTERM);
        while (Concurrency::waitForSingleObject(toldToStop, 1000) != 0) {
        }
        Concurrency::waitForSingleObject(stopEvent, -1);
        report("run ends");
    }

    bool stopHangs = false;
    bool raises = false;

private:
    Event toldToStop{false, false};
};

void forkAndKill() {
    const pid_t child = fork();
    if (child == 0) {
        waitForHandler();
        _exit(0);
    }
    kill(child, SIGTERM);
    int status = 0;
    waitpid(child, &status, 0);
    report("status ", status);
}

void registerInOneThatOutlivesTheServing(int signal) {
    SignalMultiHandler first;
    first.registerSignalHandler(signal, onSignal);
    const SignalMultiHandler serving;
}

void fault(bool translated) {
    int* volatile nowhere = nullptr;
    if (!translated)
        *nowhere = 1;
    try {
        *nowhere = 1;
    } catch (const NorqAccessException&) {
        report("thrown");
    }
}

int runService(bool foreground, std::string_view kind) {
    Service service;
    service.stopHangs = kind == "hangs";
    service.raises = kind == "raises";
    const char* arguments[] = {"signal-program", foreground ? "-F" : "-f", nullptr};
    service.parseArguments(2, arguments);
    if (kind == "own")
        service.getSignalHandler().registerSignalHandler(SIGINT, onSignal);
    if (service.start())
        report("true");
    else
        report("false");
    return 5;
}

class Words {
public:
    explicit Words(char** arguments)
        : next(arguments) {}

    int carryOut() {
        while (*next != nullptr)
            if (const std::string_view name = word(); !setsUp(name) && !acts(name))
                return 97;
        return 5;
    }

private:
    std::string_view word() { return *next++; }
    int number() { return std::atoi(*next++); }

    bool setsUp(std::string_view name) {
        if (name == "multi")
            multi = true;
        else if (name == "register")
            handler().registerSignalHandler(number(), onSignal);
        else if (name == "register-too")
            handler().registerSignalHandler(number(), onSignalToo);
        else if (name == "register-hang")
            handler().registerSignalHandler(number(), hang);
        else if (name == "deregister")
            handler().deregisterSignalHandler(number(), onSignal);
        else if (name == "ignore")
            handler().ignoreSignal(number());
        else if (name == "multi-outlives")
            registerInOneThatOutlivesTheServing(number());
        else if (name == "all-default")
            handler().deregisterAllSignalHandlers();
        else if (name == "translate-faults")
            NorqException::installHandler();
        else if (name == "translate") {
            const auto code = static_cast<std::uint32_t>(number());
            translator.setTranslationForCode(code, number());
        } else
            return false;
        return true;
    }

    bool acts(std::string_view name) {
        if (name == "event")
            report("dealt with ", translator.controlCodeHandler(static_cast<std::uint32_t>(number())));
        else if (name == "raise")
            std::raise(number());
        else if (name == "fault" || name == "fault-thrown")
            fault(name == "fault-thrown");
        else if (name == "fork")
            forkAndKill();
        else if (name == "service" || name == "service-mode")
            std::exit(runService(name == "service", word()));
        else if (name == "wait") {
            report("ready");
            for (int left = number(); left > 0; --left)
                waitForHandler();
        } else
            return false;
        return true;
    }

    ISignalHandler& handler() { return multi ? static_cast<ISignalHandler&>(many) : one; }

    char** next;
    ConsoleControlSignalTranslator& translator = ConsoleControlSignalTranslator::getInstance();
    bool multi = false;
    SignalHandler one;
    SignalMultiHandler many;
};

/// Forks. The parent then does what an interactive shell does with its job when the terminal is closed; and again when
/// told to end. Only the job returns.
void lead() {
    sigset_t awaited;
    sigset_t before;
    sigemptyset(&awaited);
    sigaddset(&awaited, SIGHUP);
    sigaddset(&awaited, SIGTERM);
    sigprocmask(SIG_BLOCK, &awaited, &before);
    const pid_t job = fork();
    if (job == 0) {
        setpgid(0, 0);
        sigprocmask(SIG_SETMASK, &before, nullptr);
        return;
    }
    for (int signal = 0; signal != SIGTERM;) {
        sigwait(&awaited, &signal);
        kill(job, SIGHUP);
    }
    kill(job, SIGTERM);
    int status = 0;
    waitpid(job, &status, 0);
    report("status ", WIFEXITED(status) ? WEXITSTATUS(status) : 90 + WTERMSIG(status) % 10);
    _exit(0);
}

} // namespace

int main(int, char** argv) {
    alarm(500); // nothing is left if the test dies
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    if (argv[1] == std::string_view("lead")) {
        lead();
        ++argv;
    }
    sem_init(&handled, 0, 0);
    return Words(argv + 1).carryOut();
}
