#include "jni/JNIReference.h"

namespace norq_std {

template class JNIReference<jclass>;
template class JNIReference<jstring>;
template class JNIReference<jobject>;

} // namespace norq_std
