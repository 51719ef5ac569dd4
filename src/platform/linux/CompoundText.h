#pragma once

#include <QByteArray>
#include <QString>

namespace platform::x11 {

// COMPOUND_TEXT, as xterm and other older clients write titles: Latin-1 text, with stretches of
// UTF-8 between ESC % G and ESC % @. Other character sets are rare in titles; their escapes are
// dropped and their bytes read as Latin-1.
QString compoundText(const QByteArray& bytes);

} // namespace platform::x11
