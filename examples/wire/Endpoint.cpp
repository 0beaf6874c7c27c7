#include "wire/Endpoint.h"

#include <charconv>
#include <cstdint>
#include <sstream>
#include <stdexcept>

namespace wire {

std::string Endpoint::toString() const {
    return (host.find(':') == std::string::npos ? host : "[" + host + "]") + ":" + port;
}

Endpoint parseEndpoint(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    const std::size_t end = text.find_last_not_of(" \t");
    const std::string trimmed = begin == std::string::npos ? "" : text.substr(begin, end - begin + 1);
    const std::size_t colon = trimmed.rfind(':');
    Endpoint endpoint{trimmed.substr(0, colon), colon == std::string::npos ? "" : trimmed.substr(colon + 1)};
    if (endpoint.host.starts_with('[') && endpoint.host.ends_with(']'))
        endpoint.host = endpoint.host.substr(1, endpoint.host.size() - 2);
    std::uint16_t port = 0;
    const char* const portEnd = endpoint.port.data() + endpoint.port.size();
    const auto parsed = std::from_chars(endpoint.port.data(), portEnd, port);
    if (endpoint.host.empty() || endpoint.port.empty() || parsed.ec != std::errc() || parsed.ptr != portEnd)
        throw std::invalid_argument("'" + trimmed + "' is not a host and a port, such as localhost:4711");
    return endpoint;
}

std::vector<Endpoint> parseEndpoints(const std::string& text) {
    std::vector<Endpoint> endpoints;
    std::istringstream list(text);
    for (std::string entry; std::getline(list, entry, ',');)
        endpoints.push_back(parseEndpoint(entry));
    return endpoints;
}

} // namespace wire
