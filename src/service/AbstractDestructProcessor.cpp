#include "service/AbstractDestructProcessor.h"

namespace norq_std {

AbstractDestructProcessor::AbstractDestructProcessor() = default;

AbstractDestructProcessor::~AbstractDestructProcessor() = default;

WString AbstractDestructProcessor::toString() const {
    return isDestructProcessorEnabled() ? u"AbstractDestructProcessor{isDestructProcessorEnabledFlag=true}"
                                        : u"AbstractDestructProcessor{isDestructProcessorEnabledFlag=false}";
}

} // namespace norq_std
