#pragma once

#include "exception/NorqException.h"
#include "jni/JniTypes.h"

namespace norq_std {

/// A Java exception as a member of the family: the message is what Java's `toString` gives, and the stack trace shows
/// the Java frames as Java prints them.
class NORQSTD_EXPORT NorqJNIException : public NorqException {
public:
    explicit NorqJNIException(const WString& message);
    NorqJNIException(const WString& message, const NorqException& nested);
    NorqJNIException(const WString& message, std::int32_t errNum);
    NorqJNIException(const WString& message, std::int32_t errNum, const NorqException& nested);
    /// Reads the throwable, a reference that the calling thread may use and keeps; null gives an empty message. An
    /// exception that is pending on the thread stays pending.
    explicit NorqJNIException(jthrowable throwable);
    NorqJNIException(const NorqJNIException& other);
    NorqJNIException& operator=(const NorqJNIException& other);
    ~NorqJNIException() override;
    WString getClassName() const override;
    NorqException* newInstance() const override;

    /// Clears the Java exception that is pending on the calling thread and throws it as a `NorqJNIException`. Returns
    /// if there is none, or no virtual machine.
    static void throwIfPresent();

private:
    void generateStackTrace(jthrowable throwable);
};

} // namespace norq_std
