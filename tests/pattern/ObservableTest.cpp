#include "pattern/Observable.h"
#include "exception/NorqException.h"
#include "support/DebugCapture.h"

#include <gtest/gtest.h>

#include <functional>
#include <pthread.h>
#include <stdexcept>

namespace {

using namespace norq_std;

struct Observer {
    std::function<void()> onCall;
};

class Source : public Observable<Observer> {
public:
    using Observable::Observable;
    void notify() const {
        do_notify([](const std::shared_ptr<Observer>& observer) { observer->onCall(); });
    }
};

TEST(ObservableTest, ObserverThatThrowsStopsNobodyElse) {
    const norqstd_test::DebugCapture capture;
    Source source(u"id");
    int called = 0;
    const auto add = [&](std::function<void()> body) {
        const auto observer = std::make_shared<Observer>(Observer{[&called, body] {
            ++called;
            body();
        }});
        source.addObserver(observer);
        source.addObserver(observer);
        return observer;
    };
    add([] { throw NorqIOException(u"text"); });
    add([] { throw std::runtime_error("narrow"); });
    add([] { throw 1; });
    const auto last = add([] {});
    source.notify();
    EXPECT_EQ(called, 4);
    EXPECT_EQ(capture.count(u"Caught unexpected exception <text> in <norq_std::Observable::do_notify>.\n"), 1u);
    EXPECT_EQ(capture.count(u"Caught unexpected exception <narrow> in <norq_std::Observable::do_notify>.\n"), 1u);
    EXPECT_EQ(capture.count(u"Caught unexpected exception of unknown type in <norq_std::Observable::do_notify>.\n"),
              1u);

    source.removeObserver(last);
    source.notify();
    EXPECT_EQ(called, 7);
    source.removeAllObservers();
    EXPECT_FALSE(source.hasObservers());
    EXPECT_EQ(source.toString(), u"Observable{id='id'}");
    EXPECT_THROW(source.addObserver(nullptr), NorqIllegalArgumentException);
    EXPECT_THROW(source.removeObserver(nullptr), NorqIllegalArgumentException);
}

TEST(ObservableTest, ObserverMayChangeTheSetWhileItIsNotified) {
    Source source(u"id");
    int called = 0;
    const auto later = std::make_shared<Observer>(Observer{[&] { ++called; }});
    const auto once = std::make_shared<Observer>();
    once->onCall = [&] {
        source.removeObserver(once);
        source.addObserver(later);
    };
    source.addObserver(once);
    source.notify();
    source.notify();
    source.notify();
    EXPECT_EQ(called, 2);
}

TEST(ObservableTest, CancellationPassesTheGuardOfAnObserver) {
    Source source(u"id");
    source.addObserver(std::make_shared<Observer>(Observer{[] {
        pthread_cancel(pthread_self());
        pthread_testcancel();
    }}));
    pthread_t thread;
    ASSERT_EQ(pthread_create(
                  &thread, nullptr,
                  [](void* argument) -> void* {
                      static_cast<Source*>(argument)->notify();
                      return nullptr;
                  },
                  &source),
              0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

} // namespace
