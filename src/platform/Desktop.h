#pragma once

#include <QString>
#include <QUrl>

namespace platform {

// The desktop's handlers: links in the browser, folders in the file manager.
class Desktop {
public:
    virtual ~Desktop() = default;
    virtual bool open(const QUrl& url) = 0;
    // Shows a file selected in the file manager, or opens its folder where that cannot be done.
    virtual void reveal(const QString& path) = 0;
};

} // namespace platform
