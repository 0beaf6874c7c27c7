#include "exception/NorqException.h"
#include "jni/NorqJNIException.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace norq_std;

template <class E>
void expectMember(const WString& className) {
    const NorqIOException cause(u"cause", 5);
    const E exception(u"text", 7, cause);
    EXPECT_EQ(exception.getClassName(), className);
    EXPECT_EQ(E(u"text").toString(), className + u": text");
    EXPECT_EQ(E(u"text", cause).getErrNum(), 5);
    EXPECT_EQ(E(u"text", 7).getErrNum(), 7);
    EXPECT_EQ(exception.getErrNum(), 7);
    const std::unique_ptr<NorqException> copy(exception.newInstance());
    EXPECT_NE(dynamic_cast<E*>(copy.get()), nullptr);
    EXPECT_EQ(copy->toString(), className + u": text: cause; --> nested com.vantrell.exception.NorqIOException: cause");
}

TEST(NorqExceptionTest, EveryClassHasItsNameAndKeepsItsTypeInACopy) {
    const WString base = u"com.vantrell.exception.";
    expectMember<NorqException>(base + u"NorqException");
    expectMember<NorqIllegalArgumentException>(base + u"NorqIllegalArgumentException");
    expectMember<NorqIllegalStateException>(base + u"NorqIllegalStateException");
    expectMember<NorqIOException>(base + u"NorqIOException");
    expectMember<NorqObjectNotFoundException>(base + u"NorqObjectNotFoundException");
    expectMember<NorqRuntimeException>(base + u"NorqRuntimeException");
    expectMember<NorqAccessException>(base + u"NorqAccessException");
    expectMember<NorqUnknownException>(base + u"NorqUnknownException");
    expectMember<NorqBufferOverflowException>(base + u"NorqBufferOverflowException");
    expectMember<NorqBufferUnderflowException>(base + u"NorqBufferUnderflowException");
    expectMember<NorqJNIException>(base + u"NorqJNIException");
    expectMember<NorqTimeoutException>(base + u"NorqTimeoutException");
    expectMember<NorqOutOfResourcesException>(base + u"NorqOutOfResourcesException");
    expectMember<NorqUnsupportedOperationException>(base + u"NorqUnsupportedOperationException");
    expectMember<NorqUnhandledException>(base + u"NorqUnhandledException");
    expectMember<NorqInterruptedException>(u"com.vantrell.util.concurrency.NorqInterruptedException");
    expectMember<NorqWaitObjectDestroyedException>(u"com.vantrell.util.concurrency.NorqWaitObjectDestroyedException");
    expectMember<NorqAbandonedException>(u"com.vantrell.util.concurrency.NorqAbandonedException");
    expectMember<NorqDeadlockException>(u"com.vantrell.util.concurrency.NorqDeadlockException");
    expectMember<NorqCancellationException>(u"com.vantrell.util.thread.NorqCancellationException");
    expectMember<NorqExecutionException>(u"com.vantrell.util.thread.NorqExecutionException");
    expectMember<NorqRejectedExecutionException>(u"com.vantrell.util.thread.NorqRejectedExecutionException");
    expectMember<NorqConnectException>(u"com.vantrell.util.connection.NorqConnectException");
    expectMember<NorqBackingStoreException>(u"com.vantrell.util.prefs.NorqBackingStoreException");
    expectMember<NorqInvalidPreferencesFormatException>(
        u"com.vantrell.util.prefs.NorqInvalidPreferencesFormatException");
    expectMember<NorqXmlException>(u"com.vantrell.xml.NorqXmlException");
    EXPECT_TRUE((std::is_base_of_v<NorqRuntimeException, NorqUnknownException>));
    EXPECT_TRUE((std::is_base_of_v<NorqIOException, NorqConnectException>));
}

TEST(NorqExceptionTest, ChainIsJoinedOutermostFirst) {
    const NorqException inner(u"inner", 3);
    const NorqException silent(u"", inner);
    const NorqIOException outer(u"outer", silent);
    EXPECT_EQ(silent.getMessage(), u"inner");
    EXPECT_EQ(outer.getMessage(), u"outer: inner");
    EXPECT_EQ(outer.getErrNum(), 3);
    EXPECT_EQ(silent.getStackTraceString(), u"-------- nested by: ");
    EXPECT_EQ(outer.getStackTraceString(), u"-------- nested by: -------- nested by: ");
    const std::unique_ptr<NorqException> first(outer.getNestedException());
    const std::unique_ptr<NorqException> second(outer.getNestedException());
    EXPECT_NE(first, second);
    EXPECT_EQ(std::unique_ptr<NorqException>(inner.getNestedException()), nullptr);
}

TEST(NorqExceptionTest, NestedCloneIsCutOffFromItsSource) {
    NorqTimeoutException source(u"source", 4);
    source.setValue(u"b", u"2");
    source.setValue(u"a", u"1");
    NorqException outer(u"outer", 9, source);
    source.setValue(u"a", u"changed");
    EXPECT_EQ(outer.getKeyValuesString(), u"KeyValues{a=1,b=2}");
    const std::unique_ptr<NorqException> clone(outer.getNestedException());
    EXPECT_NE(dynamic_cast<NorqTimeoutException*>(clone.get()), nullptr);
    EXPECT_EQ(clone->getValue(u"a"), u"1");
    EXPECT_EQ(clone->getValue(u"missing"), u"");

    outer.setKeyValues({});
    EXPECT_EQ(outer.getKeyValuesString(), u"KeyValues{}");

    NorqException assigned(u"before");
    assigned = source;
    source.setValue(u"a", u"later");
    EXPECT_EQ(assigned.getValue(u"a"), u"changed");
    assigned = *&assigned;
    EXPECT_EQ(assigned.getMessage(), u"source");
    EXPECT_EQ(assigned.getErrNum(), 4);
}

TEST(NorqExceptionTest, KeyValuesMayBeSharedBetweenThreads) {
    NorqException shared(u"shared");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&shared, t] {
            const auto key = static_cast<char16_t>(u'a' + t);
            for (int i = 0; i < 200; ++i) {
                shared.setValue(WString(1, key), WString(static_cast<std::size_t>(i % 9), u'x'));
                const NorqException copy(shared);
                EXPECT_EQ(copy.getValue(WString(1, key)).size(), static_cast<std::size_t>(i % 9));
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(shared.getKeyValues().size(), 4u);
}

TEST(NorqExceptionTest, LogsItselfOnlyFromItsPriorityUp) {
    norqstd_test::DebugCapture capture(TRACE);
    const NorqException inner(u"inner");
    const NorqIOException exception(u"outer", inner);
    exception.logDump(u"caller");
    EXPECT_TRUE(capture.lines().empty());
    exception.logTrace(u"caller");
    exception.logCall(u"caller");
    exception.logDebug(u"caller");
    EXPECT_EQ(capture.count(u"com.vantrell.exception.NorqIOException: outer: inner; --> nested "
                            u"com.vantrell.exception.NorqException: inner Stack trace <-------- nested by: >.\n"),
              3u);
    EXPECT_EQ(capture.lines().at(0).rfind(u"NorqException.cpp[", 0), 0u);
}

} // namespace
