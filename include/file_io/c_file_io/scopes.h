// Scope objects on a C_file_io: a compressed section and a written block. The constructor opens,
// the destructor closes; a destructor never throws (a failure is logged as
// "ERROR: C_file_ZIP_scope::dtor: ..." / "ERROR: C_file_DFT_scope_impl::dtor: ...").
// Call close() to end the scope with exceptions, so that a failure reaches the caller.
#pragma once

#include <cstdint>

#include "file_io/c_file_io/c_file_io.h"

class C_FILE_IO_API C_file_ZIP_scope {
public:
    enum class direction { read, write };
    C_file_ZIP_scope(C_file_io& stream, direction dir);
    ~C_file_ZIP_scope();
    C_file_ZIP_scope(const C_file_ZIP_scope&) = delete;
    C_file_ZIP_scope& operator=(const C_file_ZIP_scope&) = delete;
    void close();

private:
    C_file_io& m_stream;
    direction m_dir;
    bool m_open = true;
};

// A written block. Blocks nest: the scope keeps the enclosing block's state and restores it.
class C_FILE_IO_API C_file_DFT_scope_impl {
public:
    C_file_DFT_scope_impl(C_file_io& stream, std::int32_t id);
    ~C_file_DFT_scope_impl();
    C_file_DFT_scope_impl(const C_file_DFT_scope_impl&) = delete;
    C_file_DFT_scope_impl& operator=(const C_file_DFT_scope_impl&) = delete;
    void close();

private:
    C_file_io& m_stream;
    std::int32_t m_outer_id;
    std::uint64_t m_outer_length_pos;
    bool m_open = true;
};
