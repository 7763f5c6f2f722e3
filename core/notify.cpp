#include "core/notify.h"

#include <cstdio>
#include <utility>

namespace {
Notifier& CurrentNotifier()
{
    static Notifier notifier;
    return notifier;
}
}  // namespace

Notifier SetNotifier(Notifier notifier)
{
    return std::exchange(CurrentNotifier(), std::move(notifier));
}

void NotifyUser(const wxString& text, const wxString& caption)
{
    if (const Notifier& notifier = CurrentNotifier()) {
        notifier(text, caption);
        return;
    }
    std::fprintf(stderr, "%s: %s\n", static_cast<const char*>(caption.utf8_str()),
                 static_cast<const char*>(text.utf8_str()));
}
