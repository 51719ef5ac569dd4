#include "chat/OllamaLineReader.h"

#include <QStringList>

#include <cstddef>
#include <cstdint>

namespace {

using OllamaClient::wire::OllamaLineReader;

// The reader after the bytes, fed in pieces of `piece` bytes (0: all at once); the texts it
// handed on, in order.
OllamaLineReader read(const QByteArray& bytes, qsizetype piece, QStringList& heard) {
    OllamaLineReader reader;
    const auto onText = [&heard](const QString& text) { heard << text; };
    for (qsizetype at = 0; at < bytes.size() && !reader.stopped(); at += piece > 0 ? piece : bytes.size()) {
        reader.feed(bytes.mid(at, piece > 0 ? piece : bytes.size()), onText);
    }
    return reader;
}

} // namespace

// The model's stream, fed whole and in pieces whose size the input's first byte chooses: the
// same text, the same end, each text heard a longer one than the last, and the bounds kept.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const QByteArray bytes(reinterpret_cast<const char*>(data + 1), static_cast<qsizetype>(size - 1));
    QStringList heardWhole;
    QStringList heardPieces;
    const OllamaLineReader whole = read(bytes, 0, heardWhole);
    const OllamaLineReader pieces = read(bytes, 1 + data[0] % 32, heardPieces);
    if (whole.text != pieces.text || whole.done != pieces.done || whole.failure != pieces.failure ||
        heardWhole != heardPieces) {
        __builtin_trap();
    }
    for (qsizetype i = 1; i < heardWhole.size(); ++i) {
        if (!heardWhole[i].startsWith(heardWhole[i - 1]) ||
            heardWhole[i].size() <= heardWhole[i - 1].size()) {
            __builtin_trap();
        }
    }
    if (whole.text.size() > OllamaLineReader::textLimit + OllamaLineReader::lineLimit ||
        (!whole.overflowed && whole.pending.size() > OllamaLineReader::lineLimit)) {
        __builtin_trap();
    }
    return 0;
}
