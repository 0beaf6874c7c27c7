#include "base/Functor.h"

#include "base/InternalLog.h"
#include "exception/NorqException.h"

#include <cxxabi.h>

#include <exception>

namespace norq_std {
namespace {

constexpr const WChar* Function = u"norq_std::log_ex_t::operator()";
constexpr const WChar* Leaf = u"Functor.cpp";

} // namespace

void detail::logUnexpectedException(const WString& caller) {
    try {
        throw;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (const NorqException& e) {
        if (__internal_debug_on())
            __internal_debug(Function, Leaf, __LINE__, u"Caught unexpected exception <%ls> in <%ls>.",
                             e.getMessage().c_str(), caller.c_str());
    } catch (const std::exception& e) {
        if (__internal_debug_on())
            __internal_debug(Function, Leaf, __LINE__, u"Caught unexpected exception <%hhs> in <%ls>.", e.what(),
                             caller.c_str());
    } catch (...) {
        if (__internal_debug_on())
            __internal_debug(Function, Leaf, __LINE__, u"Caught unexpected exception of unknown type in <%ls>.",
                             caller.c_str());
    }
}

} // namespace norq_std
