#pragma once

#include "os/IdleSource.h"
#include "os/Notifications.h"
#include "os/ScreenSource.h"
#include "os/SecretStore.h"
#include "os/TextRecognizer.h"

#include <memory>

// The one place that picks the Linux implementation of each system service.
namespace os::linux_backends {

// The Secret Service when the session bus offers one, else a private file at fallbackPath (logged once).
std::unique_ptr<SecretStore> makeSecretStore(const QString& fallbackPath);
std::unique_ptr<ScreenSource> makeScreenSource();
std::unique_ptr<IdleSource> makeIdleSource();
// A recogniser for the calling thread; its model loads on its first use.
std::unique_ptr<TextRecognizer> makeTextRecognizer();
// The desktop's notification centre on the session bus; without one, posts are logged and dropped.
std::unique_ptr<Notifications> makeNotifications();

} // namespace os::linux_backends
