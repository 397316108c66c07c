// Descriptions: host objects that describe one substance each. The factory asks a description
// for its identifier; the substance constructors read everything else from the description
// interface of their medium, which derives from IHostDescription.
#pragma once

#include <memory>

#include "medium_physics/host_shared_array.h"
#include "medium_physics/host_string.h"
#include "medium_physics/host_unknown.h"

// Operations in slot order: 1 destructor; 2 query_interface; 3 get_name; 4 get_identifier.
class IHostDescription : public IHostUnknown {
public:
    // The substance's name.
    virtual void get_name(CHostString& name) = 0;
    // The substance's identifier as GUID text, e.g. "E46DDFE0-3DB1-4ba4-85ED-B83F873B2BF1".
    virtual void get_identifier(CHostString& identifier) = 0;
};

using description_array = host_shared_array<std::shared_ptr<IHostDescription>>;
