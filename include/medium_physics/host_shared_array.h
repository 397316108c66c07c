// host_shared_array: a reference-counted array of fixed length. Copies share the elements.
#pragma once

#include <cstdint>
#include <memory>

template <class T>
class host_shared_array {
public:
    host_shared_array() = default;
    explicit host_shared_array(std::int32_t count)
        : m_data(count > 0 ? std::shared_ptr<T[]>(new T[static_cast<std::size_t>(count)]()) : nullptr),
          m_count(count > 0 ? count : 0) {}

    std::int32_t size() const noexcept { return m_count; }
    bool empty() const noexcept { return m_count == 0; }
    T* data() const noexcept { return m_data.get(); }
    T& operator[](std::int32_t i) const noexcept { return m_data[static_cast<std::size_t>(i)]; }
    T* begin() const noexcept { return m_data.get(); }
    T* end() const noexcept { return m_data.get() + m_count; }

private:
    std::shared_ptr<T[]> m_data;
    std::int32_t m_count = 0;
};
