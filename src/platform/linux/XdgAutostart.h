#pragma once

#include "platform/Autostart.h"

namespace platform {

// Launch at login through the desktop's autostart folder: an entry of ours in
// $XDG_CONFIG_HOME/autostart is the switch, and its presence is the state.
class XdgAutostart final : public Autostart {
public:
    // The entry starts this executable.
    explicit XdgAutostart(QString executable);
    static QString entryPath();

    bool isEnabled() override;
    std::optional<QString> setEnabled(bool enabled) override;

private:
    QString executable;
};

} // namespace platform
