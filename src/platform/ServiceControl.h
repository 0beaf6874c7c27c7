#pragma once

#include "base/Export.h"
#include "base/WString.h"
#include "windows/ServiceStatus.h"

#include <cstdint>

namespace norq_std_internal::platform {

// What runs a service: the manager of services that started the process, here systemd. docs/services.md says which
// signal is which control, and what the manager is told of each state.
//
// A call that answers false, or gives no handle, has failed and leaves the last error.

using ServiceHandle = void*;
using ServiceMain = void (*)(std::uint32_t argc, char16_t** argv);
using ServiceControlHandler = void (*)(std::uint32_t control, std::uint32_t eventType, void* eventData, void* context);

/// Calls `main` on a thread of its own, with the name as its one argument, and hands out controls on the calling
/// thread, until `main` has returned. While it runs, the signals of the controls are its own, whatever was installed
/// for them before.
///
/// Fails with InvalidData for an empty name or no function, with ServiceAlreadyRunning while it runs, with
/// NotRunAsService if no manager started the process. What `main` throws leaves this call, once `main` has ended.
NORQSTD_EXPORT bool runServiceDispatcher(const norq_std::WString& name, ServiceMain main);

/// For `main`. The handler is called once `openServiceControls` has been; it throws nothing. Fails with InvalidName for
/// an empty name, with ServiceNotFound if it is not the one that the dispatcher runs.
NORQSTD_EXPORT ServiceHandle registerServiceHandler(const norq_std::WString& name, ServiceControlHandler handler,
                                                    void* context);

/// From now on the service can do what a control asks. Until then controls are kept, in their order: the manager sends
/// a stop once, and to a service that starts too.
NORQSTD_EXPORT void openServiceControls(ServiceHandle handle);

/// Tells the manager. Fails with InvalidHandle, and with InvalidData for a state that there is not.
NORQSTD_EXPORT bool reportServiceStatus(ServiceHandle handle, const norq_std::ServiceStatus& status);

} // namespace norq_std_internal::platform
