#pragma once

#include <optional>
#include <string>
#include <vector>

// Reads a multipart/form-data body, as the desktop client writes it for uploads and forwarded
// mail. Only what the workspace needs: each part's field name, file name, type and bytes.
namespace Multipart {

struct Part {
    std::string name;
    std::optional<std::string> filename;
    std::string contentType;
    std::string data;
};

std::optional<std::string> boundary(const std::string& contentType);
// None when the body isn't well-formed multipart with this boundary.
std::optional<std::vector<Part>> parse(const std::string& body, const std::string& boundary);

} // namespace Multipart
