#pragma once

#include <string>
#include <vector>

namespace wire {

/// A host and a TCP port.
struct Endpoint {
    std::string host;
    std::string port;

    std::string toString() const;
    bool operator==(const Endpoint&) const = default;
};

/// "host:port", or "[::1]:port". Throws `std::invalid_argument` with a sentence for the user.
Endpoint parseEndpoint(const std::string& text);
/// One or more of them, separated by commas.
std::vector<Endpoint> parseEndpoints(const std::string& text);

} // namespace wire
