#include "service/ForegroundStop.h"

#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "concurrency/Lock.h"
#include "exception/NorqException.h"
#include "platform/Error.h"
#include "platform/Signals.h"
#include "service/AbstractService.h"
#include "service/ISignalHandler.h"

#include <atomic>
#include <csignal>
#include <cxxabi.h>

namespace norq_std_internal {

using norq_std::AutoLock;
using norq_std::ERROR;
using norq_std::Lock;
using norq_std::NorqException;

namespace {

constexpr int StopSignals[] = {SIGINT, SIGTERM, norq_std::SIGBREAK};

/// A signal may still be on its way when the process ends: never destroyed.
struct Served {
    Lock lock; ///< guards the service, and is held while a signal stops it
    norq_std::AbstractService* service = nullptr;
    bool stopped = false;              ///< by a signal
    std::atomic<bool> stopping{false}; ///< a signal is on its way here, or was
};

Served& served() {
    static Served& object = *new Served;
    return object;
}

void stopService(norq_std::AbstractService& service) {
    constexpr const norq_std::WChar* Function = u"norq_std::AbstractService::start";
    try {
        service.stop(true);
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const NorqException& e) {
        NORQ_LOG(ERROR, Function, u"A signal told the service to stop, which failed: %ls", e.getMessage().c_str());
    } catch (const std::exception& e) {
        NORQ_LOG(ERROR, Function, u"A signal told the service to stop, which failed: %hs", e.what());
    } catch (...) {
        NORQ_LOG(ERROR, Function, u"A signal told the service to stop, which failed.");
    }
}

void onStopSignal(int signal);

/// False if there is no service any more.
bool stopServed(Served& target) {
    const AutoLock<Lock> guard(target.lock);
    if (target.service == nullptr)
        return false;
    target.stopping.store(true);
    target.stopped = true;
    if (platform::signalFunction(norq_std::SIGBREAK) == onStopSignal)
        platform::setSignalDefault(norq_std::SIGBREAK);
    stopService(*target.service);
    return true;
}

void onStopSignal(int signal) {
    Served& target = served();
    if (target.stopping.exchange(true) || stopServed(target))
        return;
    // The service ended by itself meanwhile, so the signal is meant for what the program does now.
    if (platform::signalFunction(signal) == onStopSignal)
        platform::setSignalDefault(signal);
    platform::raiseSignal(signal);
}

} // namespace

ForegroundStop::ForegroundStop(norq_std::AbstractService& service) {
    Served& target = served();
    const AutoLock<Lock> guard(target.lock);
    first = target.service == nullptr;
    if (!first)
        return;
    target.service = &service;
    target.stopped = false;
    target.stopping.store(false);
    for (const int signal : StopSignals)
        if ((platform::hasDefaultAction(signal) || platform::signalFunction(signal) == onStopSignal) &&
            !platform::setSignalFunction(signal, onStopSignal))
            NORQ_LOG(ERROR, u"norq_std::AbstractService::start", u"The signal %d will not stop the service: error %d",
                     signal, platform::lastError());
}

ForegroundStop::~ForegroundStop() {
    if (!first)
        return;
    Served& target = served();
    const AutoLock<Lock> guard(target.lock);
    target.service = nullptr;
    for (const int signal : StopSignals) {
        // What is sent a second time must not end the process on its way out.
        const bool stays = target.stopped && signal != norq_std::SIGBREAK;
        if (!stays && platform::signalFunction(signal) == onStopSignal)
            platform::setSignalDefault(signal);
    }
}

} // namespace norq_std_internal
