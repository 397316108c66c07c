// The host object handed to create_medium_physics, and the message sink that substances hold.
#pragma once

#include <cstdint>
#include <memory>

#include "medium_physics/droplet.h"
#include "medium_physics/host_string.h"
#include "medium_physics/host_unknown.h"

// Where media write their messages (every substance holds one; a medium uses its first
// substance's). Texts arrive formatted, one line each, ending in '\n'.
class IHostMessageSink : public IHostUnknown {
public:
    // Plain messages (no warning number).
    virtual void write_message(const char* text) noexcept = 0;
    // Numbered warnings and iteration reports ("Warning 3002: ...", "Warning : ...").
    virtual void write_warning(const char* text) noexcept = 0;
};

// IHostDropletData, the droplet data that a host object may hand to CreateDropletModel through
// query_interface, is declared with the droplet model in droplet.h.

// The host object. Operations in slot order:
//   1 destructor; 2 query_interface (asked by CreateDropletModel for the droplet data, with a
//   std::any holding a std::shared_ptr<IHostDropletData>*); 3 write_message; 4 write_warning;
//   5 write_error; 6 get_name; 7 get_thread_count.
class IHostObject : public IHostMessageSink {
public:
    // "ERROR: ..." lines.
    virtual void write_error(const char* text) noexcept = 0;
    // The host's name, for reports.
    virtual void get_name(CHostString& name) = 0;
    // Stores the number of threads the library may use for its table-generation loops into
    // *count. A host that leaves the value untouched keeps the caller's initial value.
    virtual void get_thread_count(std::int32_t* count) = 0;
};
