#pragma once

#include "base/Export.h"
#include "jni/JniTypes.h"

namespace norq_std {

/// Something that is to become a Java object on the thread that polls `JniCallbackQueue`.
///
/// It is made on any native thread and holds native data alone; what belongs to the Java machine comes into being in
/// `createJniObject`.
class NORQSTD_EXPORT IJniCallback {
public:
    virtual ~IJniCallback() = default;

    /// A new local reference, which the caller owns; null, with Java's exception pending, if the object cannot be made.
    /// `env` belongs to the calling thread.
    virtual jobject createJniObject(JNIEnv* env) = 0;
};

} // namespace norq_std
