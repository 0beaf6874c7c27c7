#include "platform/DirectoryChange.h"

#include "platform/Error.h"
#include "platform/FileSystem.h"
#include "platform/linux/ChangeHub.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace norq_std_internal::platform {

DirectoryChangeGroup::DirectoryChangeGroup()
    : source(std::make_unique<ChangeGroupSource>()) {}

DirectoryChangeGroup::~DirectoryChangeGroup() = default;

std::unique_ptr<DirectoryChange> DirectoryChangeGroup::open(std::u16string_view path, std::uint32_t filter,
                                                            std::u16string& advice) {
    advice.clear();
    auto record = std::make_unique<DirectoryChangeRecord>();
    record->path = nativePath(path);
    if (record->path.empty())
        return nullptr;
    std::error_code failure;
    record->path = std::filesystem::absolute(record->path, failure).string();
    if (failure) {
        setLastError(errorFromNative(failure.value()));
        return nullptr;
    }
    record->filter = filter;
    record->group = source.get();
    std::shared_ptr<ChangeHub> hub = source->attach(advice);
    if (hub == nullptr || !hub->add(*record, advice))
        return nullptr;
    return std::unique_ptr<DirectoryChange>(new DirectoryChange(std::move(hub), std::move(record)));
}

DirectoryChange::DirectoryChange(std::shared_ptr<ChangeHub> changeHub, std::unique_ptr<DirectoryChangeRecord> watched)
    : hub(std::move(changeHub))
    , record(std::move(watched)) {}

DirectoryChange::~DirectoryChange() { hub->remove(*record); }

WaitSource& DirectoryChange::source() { return *record->group; }

bool DirectoryChange::take() { return record->signalled.load(std::memory_order_acquire); }

bool DirectoryChange::next(Change& change) { return hub->next(*record, change); }

std::vector<Change> DirectoryChange::drain() {
    hub->collect(false);
    std::vector<Change> changes;
    for (Change change; next(change);)
        changes.push_back(std::move(change));
    return changes;
}

} // namespace norq_std_internal::platform
