// The host system: object creation (the memory watcher), memory pools, the product directory
// and the disk-space check. The standalone host implements all of them; a solver supplies its own
// platform library with the same interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "medium_physics/export.h"
#include "medium_physics/host_string.h"
#include "medium_physics/host_unknown.h"

// Receives every pooled allocation and release while the library's memory-watch mode is 1.
// `file` and `line` label the allocating statement (file is the library-relative source path).
class IHostMemoryWatcher : public IHostUnknown {
public:
    virtual void register_allocation(const void* block, std::size_t bytes, const char* file,
                                     std::int32_t line) noexcept = 0;
    virtual void release_allocation(const void* block) noexcept = 0;
};

class IHostSystem : public IHostUnknown {
public:
    // Creates a host object of the type named by the request. The request holds a pointer to an
    // empty shared-pointer slot, e.g. std::shared_ptr<IHostMemoryWatcher>*, which the host fills.
    // Returns 0 when it filled the slot, 2 when it does not know the requested type.
    virtual std::int32_t CreateObject(std::any& request) = 0;
};

// The process-wide host system object.
MP_HOST_API IHostSystem* HostInstance() noexcept;

namespace MemoryPool {

// A pool of raw memory. Blocks are aligned to at least 64 bytes; allocate returns nullptr when
// the memory is not to be had (it never throws).
class IMemoryPool {
public:
    virtual ~IMemoryPool() = default;
    virtual void* allocate(std::size_t bytes) noexcept = 0;
    virtual void release(void* block, std::size_t bytes) noexcept = 0;
};

class IMemoryPoolManager {
public:
    virtual ~IMemoryPoolManager() = default;
    // Pool 0 is the general pool; the standalone host serves every index from it.
    virtual IMemoryPool* GetMemoryPool(std::int32_t index) noexcept = 0;
};

MP_HOST_API IMemoryPoolManager* GetMemoryPoolManager() noexcept;

}  // namespace MemoryPool

// Product-dependent services of the host; the library asks it where table files live.
class IProductDependentFunctions {
public:
    virtual ~IProductDependentFunctions() = default;
    // The product directory (absolute path) under which table files are written.
    virtual void GetProductDirectory(CHostString& directory) = 0;
};

MP_HOST_API IProductDependentFunctions* GetProductDependentFunctionsInterface() noexcept;

struct CHost_Utils {
    // True when the volume holding `path` (a file or folder; the nearest existing parent is
    // used) has at least `bytes_needed` bytes available. False when it has fewer, or when the
    // space cannot be determined.
    MP_HOST_API static bool CheckDiskSpace(const CHostString& path, std::uint64_t bytes_needed) noexcept;
};
