#pragma once

#include "base/Export.h"
#include "jni/JniTypes.h"

namespace norq_std {

/// Holds one JNI reference for the length of a scope and forgets it at the end, without deleting it: a local reference
/// goes when the native method returns to Java or the thread detaches. Not for loops, whose references would pile up.
///
/// It belongs to the thread whose environment gave the reference. `T` is `jclass`, `jstring` or `jobject`.
template <class T>
class NORQSTD_EXPORT JNIReference {
public:
    explicit JNIReference(T held = nullptr)
        : reference(held) {}
    virtual ~JNIReference() { reference = nullptr; }
    JNIReference(const JNIReference&) = delete;
    JNIReference& operator=(const JNIReference&) = delete;

    T get() const { return reference; }
    explicit operator bool() const { return reference != nullptr; }

private:
    T reference;
};

extern template class JNIReference<jclass>;
extern template class JNIReference<jstring>;
extern template class JNIReference<jobject>;

} // namespace norq_std
