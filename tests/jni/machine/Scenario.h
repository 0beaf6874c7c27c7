#pragma once

#include "jni/JVM.h"

#include <jni.h>
#include <memory>
#include <string>
#include <vector>

namespace norqstd_test {

/// Options of every machine of the tests.
std::vector<norq_std::WString> machineOptions(const std::string& jar);

/// The class of the Java side, and its static methods; ends the process if one is not there. A local reference.
class Probe {
public:
    explicit Probe(JNIEnv& environment);

    jmethodID method(const char* name, const char* signature) const;
    /// The result of the method, or the text of its exception. This one runs on the calling thread.
    std::string provokeTraps(const char* name = "provokeTraps") const;

    JNIEnv& env;
    const jclass type;
};

/// A native fault on the calling thread: whether it came as the exception of the family.
bool accessFaultIsTranslated();

/// On a new native thread that is attached and asks for translation, in turns: faults of its own, if those are
/// translated in this process, and the traps of the machine. "good" if each went to the right one.
std::string faultsOnServedThread(bool installFirst, bool translated = true);

} // namespace norqstd_test
