#include "base/Class.h"

#include "base/LogMacros.h"

#include <cxxabi.h>

namespace norq_std {

Class::Class() = default;

Class::~Class() = default;

WString Class::toString() const { return u"Class{}"; }

void Class::registerClass(const WString& key, const std::shared_ptr<Object>& object) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Class::registerClass");
    registerObject(key, object);
}

bool Class::registerClassNoEx(const WString& key, const std::shared_ptr<Object>& object) {
    NORQ_LOG_FUNCTION_CALL(u"norq_std::Class::registerClassNoEx");
    try {
        registerObject(key, object);
        return true;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return false;
    }
}

bool Class::validKey(const WString& key) const { return !key.empty(); }

const WChar* Class::getSingletonName() { return u"norq_std::Class"; }

} // namespace norq_std
