#include "StopSignal.h"

#include "Console.h"

#include "thread/Runnable.h"

#include <unistd.h>

namespace shipper {
namespace {

constexpr int END_OF_WAIT = SIGUSR1; // sent by ourselves

} // namespace

class StopSignal::Waiter : public norq_std::Runnable {
public:
    Waiter(const sigset_t& set, norq_std::Event& stopEvent, std::atomic<int>& number)
        : signals(set)
        , stop(stopEvent)
        , signalNumber(number) {}

    void run() override {
        for (int received = 0; sigwait(&signals, &received) == 0 && received != END_OF_WAIT;) {
            if (signalNumber.exchange(received) != 0)
                _exit(128 + received);
            SHIPPER_SAY(norq_std::INFO, u"shipper::StopSignal::run",
                        "stopping: shipping what has been read; again to stop at once");
            stop.signal();
        }
    }

private:
    const sigset_t signals;
    norq_std::Event& stop;
    std::atomic<int>& signalNumber;
};

StopSignal::StopSignal(norq_std::Event& stop) {
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, END_OF_WAIT})
        sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    thread = std::make_unique<norq_std::Thread>(std::make_shared<Waiter>(signals, stop, signalNumber), u"signals");
    thread->start();
}

StopSignal::~StopSignal() {
    kill(getpid(), END_OF_WAIT);
    thread->join(-1);
}

} // namespace shipper
