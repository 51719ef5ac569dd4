#include "platform/linux/CompoundText.h"

namespace platform::x11 {

QString compoundText(const QByteArray& bytes) {
    QString out;
    QByteArray utf8;
    bool inUtf8 = false;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        if (bytes.at(i) != '\x1b') {
            if (inUtf8) {
                utf8 += bytes.at(i);
            } else {
                out += QChar(static_cast<uchar>(bytes.at(i)));
            }
            continue;
        }
        // An escape: intermediate bytes, then one final byte.
        qsizetype end = i + 1;
        while (end < bytes.size() && bytes.at(end) >= 0x20 && bytes.at(end) <= 0x2f) {
            ++end;
        }
        const QByteArray sequence = bytes.mid(i + 1, end - i);
        if (inUtf8 && sequence != "%G") {
            out += QString::fromUtf8(utf8);
            utf8.clear();
        }
        inUtf8 = sequence == "%G";
        i = end;
    }
    return out + QString::fromUtf8(utf8);
}

} // namespace platform::x11
