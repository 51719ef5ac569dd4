#pragma once

#include <QStringList>

#include <optional>

class QMimeData;

// What a clipboard or a drag offers, judged from its list of MIME types alone.
namespace Capture {

// In the order of the test: files before an image before text.
enum class Kind { files, image, text };

// The types that drop targets take, in order: file URLs, PNG, TIFF, tabular text, plain text.
const QStringList& draggedTypes();

// Reads no content, so it can run on every movement of a drag. Parameters such as
// ";charset=utf-8" do not change a type. A URI list counts as files unless the offer also
// carries what a browser adds to a dragged link and a file manager never does, the page's
// markup (text/html) or _NETSCAPE_URL: such a link is text, whichever way its types are read.
std::optional<Kind> kind(const QStringList& types);

// The same for Qt's view of a drag or the clipboard: its formats, and nothing of its data.
std::optional<Kind> kind(const QMimeData* data);

} // namespace Capture
