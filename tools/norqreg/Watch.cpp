// watch.

#include "Command.h"
#include "Output.h"
#include "RegistryWatch.h"

#include "base/JsonObject.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include <unistd.h>

namespace norqreg {
namespace {

using norq_std_internal::platform::Event;
using Clock = std::chrono::steady_clock;

/// Signalled by SIGINT and SIGTERM, from the first call on. To be called before there are other threads.
Event& stopEvent() {
    static Event& event = *[] {
        auto* const made = new Event(Event::Reset::Manual);
        sigset_t signals;
        sigemptyset(&signals);
        for (const int number : {SIGINT, SIGTERM})
            sigaddset(&signals, number);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        std::thread([made, signals] {
            for (int number = 0, before = 0; sigwait(&signals, &number) == 0; before = number) {
                if (before != 0) // the output does not flow
                    _exit(128 + number);
                made->set();
            }
        }).detach();
        return made;
    }();
    return event;
}

std::string describe(const Change& change) {
    const std::string key = change.key.toReadable() + ": ";
    switch (change.kind) {
    case Change::Kind::VALUE_SET:
        return key + readableName(change.name) + " = " + readable(change.text);
    case Change::Kind::VALUE_DELETED:
        return key + readableName(change.name) + " deleted";
    case Change::Kind::KEY_MADE:
        return key + "made";
    case Change::Kind::KEY_DELETED:
        break;
    }
    return key + "deleted";
}

std::string describeAsJson(const Change& change) {
    norq_std::JsonObject json;
    json.putString(u"key", change.key.toText());
    const bool isValue = change.kind == Change::Kind::VALUE_SET || change.kind == Change::Kind::VALUE_DELETED;
    if (isValue)
        json.putString(u"name", change.name);
    if (change.kind == Change::Kind::VALUE_SET)
        json.putString(u"value", change.text);
    const bool isGone = change.kind == Change::Kind::VALUE_DELETED || change.kind == Change::Kind::KEY_DELETED;
    json.putString(u"change", isGone ? u"deleted" : isValue ? u"set" : u"made");
    return jsonLine(json);
}

} // namespace

ExitStatus watch(const Invocation& invocation) {
    Event& stop = stopEvent();
    const KeyPath top = KeyPath::parse(invocation.arguments[0]);
    const bool isJson = invocation.has("--json");
    const auto wanted = invocation.number("--count");
    const auto timeout = invocation.number("--timeout");
    const auto end = Clock::now() + std::chrono::milliseconds(timeout.value_or(0));
    std::int32_t told = 0;
    const auto isEnough = [&] { return wanted && told >= *wanted; };
    RegistryWatch registry(top, invocation.has("--subtree"), [&](const Change& change) {
        if (isEnough())
            return;
        ++told;
        printLine(isJson ? describeAsJson(change) : describe(change));
    });
    std::fprintf(stderr, "norqreg: watching %s\n", top.toReadable().c_str());
    while (!isEnough()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        const auto outcome =
            registry.await(stop, timeout ? static_cast<std::int32_t>(std::max<std::int64_t>(left, 0)) : -1);
        flushOutput();
        if (outcome == RegistryWatch::Outcome::STOPPED)
            return DONE;
        if (outcome == RegistryWatch::Outcome::TIMED_OUT)
            return wanted ? TIMED_OUT : DONE;
        if (outcome == RegistryWatch::Outcome::GONE && !isEnough())
            throw Failure(NOT_FOUND, top.toReadable() + " was deleted");
    }
    return DONE;
}

} // namespace norqreg
