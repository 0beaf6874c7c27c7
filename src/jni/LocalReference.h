#pragma once

#include "jni/JNIReference.h"

#include <jni.h>

namespace norq_std_internal {

/// A local reference that is deleted at the end of the scope, so that a loop, or a thread that never returns to Java,
/// keeps none.
template <class T>
class LocalReference : public norq_std::JNIReference<T> {
public:
    LocalReference(JNIEnv& environment, T held)
        : norq_std::JNIReference<T>(held)
        , env(environment) {}
    ~LocalReference() override {
        if (this->get() != nullptr)
            env.DeleteLocalRef(this->get());
    }

private:
    JNIEnv& env;
};

} // namespace norq_std_internal
