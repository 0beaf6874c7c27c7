#include "base/LogMacros.h"
#include "concurrency/AutoLock.h"
#include "connection/LastPlusOneConnectionPolicy.h"
#include "connection/ZeroStartConnectionPolicy.h"
#include "internal/NumberText.h"

namespace norq_std {
namespace {

int following(int index) { return static_cast<int>(static_cast<unsigned>(index) + 1); } // any index was accepted

} // namespace

IConnectionPolicy::~IConnectionPolicy() = default;

AbstractConnectionPolicy::AbstractConnectionPolicy() = default;
AbstractConnectionPolicy::~AbstractConnectionPolicy() = default;

WString AbstractConnectionPolicy::getClassNameStatic() { return u"norq_std.AbstractConnectionPolicy"; }

WString AbstractConnectionPolicy::getClassName() const { return getClassNameStatic(); }

int AbstractConnectionPolicy::getIndexOfConnectionInfoInLastAttempt() const {
    const AutoLock<Lock> guard(lock);
    return indexOfLastAttempted;
}

int AbstractConnectionPolicy::getIndexOfConnectionInfoInLastSuccessful() const {
    const AutoLock<Lock> guard(lock);
    return indexOfLastSuccessful;
}

void AbstractConnectionPolicy::setIndexOfConnectionInfoInLastAttempt(int index) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractConnectionPolicy::setIndexOfConnectionInfoInLastAttempt");
    const AutoLock<Lock> guard(lock);
    indexOfLastAttempted = index;
}

void AbstractConnectionPolicy::setIndexOfConnectionInfoInLastSuccessful(int index) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::AbstractConnectionPolicy::setIndexOfConnectionInfoInLastSuccessful");
    const AutoLock<Lock> guard(lock);
    indexOfLastSuccessful = index;
}

WString AbstractConnectionPolicy::toString() const {
    const AutoLock<Lock> guard(lock);
    return u"AbstractConnectionPolicy{indexOfLastAttempted=" + norq_std_internal::numberText(indexOfLastAttempted) +
           u",indexOfLastSuccessful=" + norq_std_internal::numberText(indexOfLastSuccessful) + u"}";
}

LastPlusOneConnectionPolicy::~LastPlusOneConnectionPolicy() = default;

WString LastPlusOneConnectionPolicy::getClassNameStatic() { return u"norq_std.LastPlusOneConnectionPolicy"; }

WString LastPlusOneConnectionPolicy::getClassName() const { return getClassNameStatic(); }

int LastPlusOneConnectionPolicy::getIndexForNextConnectionAttempt(bool, bool) const {
    return following(getIndexOfConnectionInfoInLastAttempt());
}

WString LastPlusOneConnectionPolicy::toString() const {
    return u"LastPlusOneConnectionPolicy{" + AbstractConnectionPolicy::toString() + u"}";
}

ZeroStartConnectionPolicy::~ZeroStartConnectionPolicy() = default;

WString ZeroStartConnectionPolicy::getClassNameStatic() { return u"norq_std.ZeroStartConnectionPolicy"; }

WString ZeroStartConnectionPolicy::getClassName() const { return getClassNameStatic(); }

int ZeroStartConnectionPolicy::getIndexForNextConnectionAttempt(bool, bool isFirstAttempt) const {
    return isFirstAttempt ? 0 : following(getIndexOfConnectionInfoInLastAttempt());
}

WString ZeroStartConnectionPolicy::toString() const {
    return u"ZeroStartConnectionPolicy{" + AbstractConnectionPolicy::toString() + u"}";
}

} // namespace norq_std
