#include "concurrency/StdDequeBlockingQueue.h"

namespace norq_std {

template class BlockingQueue<std::shared_ptr<WString>, std::shared_ptr<WString>>;
template class AbstractBlockingQueue<std::shared_ptr<WString>, std::shared_ptr<WString>>;
template class StdDequeBlockingQueue<std::shared_ptr<WString>, std::shared_ptr<WString>>;

} // namespace norq_std
