// The block stream's two exception classes: an I/O operation failed, or the stream was used wrongly.
#pragma once

#include <stdexcept>
#include <string>

#include "medium_physics/export.h"

class C_FILE_IO_API c_RQ_io_error : public std::runtime_error {
public:
    explicit c_RQ_io_error(const std::string& message) : std::runtime_error(message) {}
    ~c_RQ_io_error() override;
};

class C_FILE_IO_API c_RQ_io_error_logic : public std::logic_error {
public:
    explicit c_RQ_io_error_logic(const std::string& message) : std::logic_error(message) {}
    ~c_RQ_io_error_logic() override;
};
