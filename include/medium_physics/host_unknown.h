// IHostUnknown: the base of every object that crosses the host/library boundary.
#pragma once

#include <any>
#include <cstdint>

// Status codes of the factory and of query operations.
enum : std::int32_t {
    MP_STATUS_OK = 0,           // success
    MP_STATUS_UNSUPPORTED = 2,  // the request is not supported (unknown interface, medium not built)
    MP_STATUS_FAILURE = 3,      // the request failed (stream error, unknown identifier, bad data)
};

class IHostUnknown {
public:
    virtual ~IHostUnknown() = default;

    // `requested` holds an empty std::shared_ptr<I> of the wanted interface I. When the object
    // implements I, it is set to a pointer that shares ownership of the object and 0 is returned;
    // otherwise `requested` is left untouched and 2 is returned. Never throws.
    virtual std::int32_t query_interface(std::any& requested) = 0;
};
