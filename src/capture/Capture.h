#pragma once

#include <QDateTime>
#include <QStringList>

#include <functional>
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

// What one capture gave, as files on disk: documents for the knowledge base, and messages
// (".eml", by the name alone) for the inbox. Both empty when nothing could be taken.
struct Captured {
    QStringList files;
    QStringList emails;
    // Sorts paths by their extension.
    void add(const QStringList& paths);
};

// Turns a drop's or the clipboard's content into files: the local files it names, or else its
// message, image or text written into a fresh private folder under the temporary directory,
// named after the source application (or the clipboard) and the time. The content is read at
// once, while the offer is still valid; the completion runs once, on the main loop, after read
// has returned.
void read(const QMimeData* data, const std::optional<QString>& app, std::function<void(Captured)> completion);

// Tab-separated text as comma-separated values; none when the text isn't a table.
std::optional<QString> csv(const QString& tabSeparated);

// The name of a written capture: "<source> – <words> HH.mm<ending>", with "/" and ":" replaced.
QString fileName(const QString& source, const QString& words, const QDateTime& at, const QString& ending);

} // namespace Capture
