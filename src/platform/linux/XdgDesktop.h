#pragma once

#include "platform/Desktop.h"

namespace platform {

// Opens through the desktop's registered handlers; reveals through the file manager's
// D-Bus interface where one answers.
class XdgDesktop final : public Desktop {
public:
    bool open(const QUrl& url) override;
    void reveal(const QString& path) override;
};

} // namespace platform
