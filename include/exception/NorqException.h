#pragma once

#include "base/Object.h"

#include <cstdint>
#include <exception>
#include <map>
#include <memory>

namespace norq_std {

class ReadWriteLock;

/// Root of the exception family: every failure that the library reports is one of these, thrown by value and caught by
/// reference.
///
/// The text is in `getMessage` and `toString`; `what` is not overridden and says nothing useful. An exception owns a
/// clone of the exception that caused it. The key values are guarded by a lock of the exception's own and may be used
/// from several threads; everything else is written once, at construction or assignment.
class NORQSTD_EXPORT NorqException : public std::exception, public Object {
public:
    using KeyValues = std::map<WString, WString>;

    explicit NorqException(const WString& message);
    NorqException(const WString& message, const NorqException& nested);
    NorqException(const WString& message, std::int32_t errNum);
    NorqException(const WString& message, std::int32_t errNum, const NorqException& nested);
    NorqException(const NorqException& other);
    NorqException& operator=(const NorqException& other);
    ~NorqException() override;

    /// A new clone of the cause, which the caller owns and deletes; null without a cause.
    virtual NorqException* getNestedException() const;
    /// The messages of the whole chain, outermost first, joined by ": ".
    virtual WString getMessage() const;
    /// The system's or the threads library's error number, 0 where there is none.
    virtual std::int32_t getErrNum() const;
    /// The dotted class name.
    virtual WString getClassName() const;
    virtual WString getStackTraceString() const;
    virtual WString getKeyValuesString() const;
    virtual KeyValues getKeyValues() const;
    /// The value of a key, empty if the key is absent.
    virtual WString getValue(const WString& key) const;
    virtual void setKeyValues(const KeyValues& keyValues);
    virtual void setValue(const WString& key, const WString& value);
    /// A heap copy of the most derived class, which the caller owns.
    virtual NorqException* newInstance() const;

    /// Log the exception with its stack trace at the priority of the name, as coming from `function`.
    virtual void logDebug(const WString& function) const;
    virtual void logCall(const WString& function) const;
    virtual void logTrace(const WString& function) const;
    virtual void logDump(const WString& function) const;

    WString toString() const override;

    /// From now on a processor fault (access violation, bus error, arithmetic fault, illegal instruction, exhausted
    /// stack) on the calling thread is thrown from the faulting instruction as a `NorqAccessException` or
    /// `NorqRuntimeException`, in code compiled with `-fnon-call-exceptions`; and a violated parameter check of the
    /// library's own wrappers is thrown as a `NorqIllegalArgumentException`, in the whole process.
    static void installHandler();

private:
    friend class NorqJNIException; // whose message and stack trace come from Java

    WString generateStackTraceString() const;

    WString message;
    std::unique_ptr<NorqException> nested;
    std::int32_t errNum;
    WString stackTrace;
    std::shared_ptr<ReadWriteLock> keyValuesLock;
    KeyValues keyValues;
};

// The classes of the family differ in name and base alone, but for NorqJNIException, which stands in jni.
#define NORQSTD_DECLARE_EXCEPTION(Name, Base)                                                                          \
    class NORQSTD_EXPORT Name : public Base {                                                                          \
    public:                                                                                                            \
        explicit Name(const WString& message);                                                                         \
        Name(const WString& message, const NorqException& nested);                                                     \
        Name(const WString& message, std::int32_t errNum);                                                             \
        Name(const WString& message, std::int32_t errNum, const NorqException& nested);                                \
        Name(const Name& other);                                                                                       \
        Name& operator=(const Name& other);                                                                            \
        ~Name() override;                                                                                              \
        WString getClassName() const override;                                                                         \
        NorqException* newInstance() const override;                                                                   \
    }

NORQSTD_DECLARE_EXCEPTION(NorqIllegalArgumentException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqIllegalStateException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqIOException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqObjectNotFoundException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqRuntimeException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqAccessException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqUnknownException, NorqRuntimeException);
NORQSTD_DECLARE_EXCEPTION(NorqBufferOverflowException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqBufferUnderflowException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqTimeoutException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqOutOfResourcesException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqUnsupportedOperationException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqUnhandledException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqInterruptedException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqWaitObjectDestroyedException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqAbandonedException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqDeadlockException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqCancellationException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqExecutionException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqRejectedExecutionException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqConnectException, NorqIOException);
NORQSTD_DECLARE_EXCEPTION(NorqBackingStoreException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqInvalidPreferencesFormatException, NorqException);
NORQSTD_DECLARE_EXCEPTION(NorqXmlException, NorqException);

} // namespace norq_std
