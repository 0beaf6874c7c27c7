#include "connection/LastPlusOneConnectionPolicy.h"
#include "connection/ZeroStartConnectionPolicy.h"

#include <gtest/gtest.h>

#include <limits>

using namespace norq_std;

namespace {

TEST(ConnectionPolicy, chooses_the_next_index_from_the_last_attempt_alone) {
    LastPlusOneConnectionPolicy lastPlusOne;
    ZeroStartConnectionPolicy zeroStart;
    for (const int last : {-1, 0, 2, std::numeric_limits<int>::max() - 1}) {
        if (last >= 0)
            for (AbstractConnectionPolicy* policy : {static_cast<AbstractConnectionPolicy*>(&lastPlusOne),
                                                     static_cast<AbstractConnectionPolicy*>(&zeroStart)}) {
                policy->setIndexOfConnectionInfoInLastAttempt(last);
                policy->setIndexOfConnectionInfoInLastSuccessful(last - 1);
            }
        for (const bool isRecovery : {false, true}) {
            EXPECT_EQ(lastPlusOne.getIndexForNextConnectionAttempt(isRecovery, true), last + 1);
            EXPECT_EQ(lastPlusOne.getIndexForNextConnectionAttempt(isRecovery, false), last + 1);
            EXPECT_EQ(zeroStart.getIndexForNextConnectionAttempt(isRecovery, true), 0);
            EXPECT_EQ(zeroStart.getIndexForNextConnectionAttempt(isRecovery, false), last + 1);
        }
    }
    lastPlusOne.setIndexOfConnectionInfoInLastAttempt(std::numeric_limits<int>::max()); // as good as any other
    EXPECT_EQ(lastPlusOne.getIndexForNextConnectionAttempt(false, false), std::numeric_limits<int>::min());
}

TEST(ConnectionPolicy, says_what_it_is_and_where_it_stands) {
    LastPlusOneConnectionPolicy lastPlusOne;
    lastPlusOne.setIndexOfConnectionInfoInLastAttempt(4);
    lastPlusOne.setIndexOfConnectionInfoInLastSuccessful(3);
    EXPECT_EQ(lastPlusOne.toString(), u"LastPlusOneConnectionPolicy{AbstractConnectionPolicy{indexOfLastAttempted=4,"
                                      u"indexOfLastSuccessful=3}}");
    EXPECT_EQ(lastPlusOne.getIndexOfConnectionInfoInLastSuccessful(), 3);
    const ZeroStartConnectionPolicy zeroStart;
    EXPECT_EQ(zeroStart.toString(), u"ZeroStartConnectionPolicy{AbstractConnectionPolicy{indexOfLastAttempted=-1,"
                                    u"indexOfLastSuccessful=-1}}");
    EXPECT_EQ(zeroStart.getClassName(), u"norq_std.ZeroStartConnectionPolicy");
    EXPECT_EQ(lastPlusOne.getClassName(), LastPlusOneConnectionPolicy::getClassNameStatic());
    EXPECT_EQ(AbstractConnectionPolicy::getClassNameStatic(), u"norq_std.AbstractConnectionPolicy");
}

} // namespace
