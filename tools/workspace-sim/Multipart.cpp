#include "Multipart.h"

#include <algorithm>
#include <cctype>

namespace Multipart {

namespace {

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos)
        return {};
    const auto last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

// The value of `key=` in a header's parameters, quoted or not. The client writes file names
// unescaped, so a quoted value runs to the next quote.
std::optional<std::string> parameter(const std::string& header, const std::string& key) {
    const std::string lower = lowered(header);
    std::size_t at = 0;
    while ((at = lower.find(key + "=", at)) != std::string::npos) {
        const bool startsWord =
            at == 0 || lower[at - 1] == ';' || lower[at - 1] == ' ' || lower[at - 1] == '\t';
        if (!startsWord) {
            at += key.size();
            continue;
        }
        std::size_t value = at + key.size() + 1;
        if (value < header.size() && header[value] == '"') {
            const std::size_t end = header.find('"', value + 1);
            if (end == std::string::npos)
                return std::nullopt;
            return header.substr(value + 1, end - value - 1);
        }
        const std::size_t end = header.find(';', value);
        return trimmed(header.substr(value, end == std::string::npos ? std::string::npos : end - value));
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> boundary(const std::string& contentType) {
    if (lowered(contentType).rfind("multipart/form-data", 0) != 0)
        return std::nullopt;
    auto value = parameter(contentType, "boundary");
    if (!value || value->empty())
        return std::nullopt;
    return value;
}

std::optional<std::vector<Part>> parse(const std::string& body, const std::string& boundary) {
    const std::string delimiter = "--" + boundary;
    std::vector<Part> parts;
    if (body.compare(0, delimiter.size(), delimiter) != 0)
        return std::nullopt;
    std::size_t at = delimiter.size();
    while (true) {
        if (body.compare(at, 2, "--") == 0)
            return parts; // closing delimiter
        if (body.compare(at, 2, "\r\n") != 0)
            return std::nullopt;
        at += 2;
        const std::size_t headersEnd = body.find("\r\n\r\n", at);
        if (headersEnd == std::string::npos)
            return std::nullopt;
        Part part;
        std::size_t line = at;
        while (line < headersEnd) {
            std::size_t lineEnd = body.find("\r\n", line);
            if (lineEnd == std::string::npos || lineEnd > headersEnd)
                lineEnd = headersEnd;
            const std::string header = body.substr(line, lineEnd - line);
            const std::size_t colon = header.find(':');
            if (colon != std::string::npos) {
                const std::string name = lowered(trimmed(header.substr(0, colon)));
                const std::string value = trimmed(header.substr(colon + 1));
                if (name == "content-disposition") {
                    part.name = parameter(value, "name").value_or("");
                    part.filename = parameter(value, "filename");
                } else if (name == "content-type") {
                    part.contentType = value;
                }
            }
            line = lineEnd + 2;
        }
        const std::size_t dataStart = headersEnd + 4;
        const std::size_t next = body.find("\r\n" + delimiter, dataStart);
        if (next == std::string::npos)
            return std::nullopt;
        part.data = body.substr(dataStart, next - dataStart);
        parts.push_back(std::move(part));
        at = next + 2 + delimiter.size();
        if (parts.size() > 1000)
            return std::nullopt;
    }
}

} // namespace Multipart
