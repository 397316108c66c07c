#include "tables/c_3d_property.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

#include "tables/c_1d_param.h"
#include "file_io/c_file_io/c_file_io.h"

namespace {

// Below this burnt weight the burnt column carries no information about the local mixture
// fraction ((z - fuel) / burnt is noise), so it is dropped and its weight goes to the oxidizer.
constexpr double kBurntWeightFloor = 0.0001;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

double clamp01(double x) noexcept { return std::clamp(x, 0.0, 1.0); }  // NaN stays NaN

// Index and weight of one axis from its fractional index f. The comparisons come before any
// conversion, so huge, infinite and NaN values of f never reach the integer conversion.
void place(double f, std::int32_t n, std::int32_t& i, double& w, bool& clamped) noexcept {
    if (f >= static_cast<double>(n - 1)) {
        i = n - 2;
        clamped = true;
    } else if (f > -1.0) {
        i = static_cast<std::int32_t>(f);  // toward zero: -1 < f < 0 gives cell 0 unclamped
    } else {
        i = 0;  // f <= -1, or NaN
        clamped = true;
    }
    w = f - i;
}

bool valid_sizes(const std::int32_t n[3], std::int32_t count_a, std::int32_t count_b) noexcept {
    for (int d = 0; d < 3; ++d)
        if (n[d] < 2) return false;
    if (count_a < 0 || count_b < 0) return false;
    const std::uint64_t plane = static_cast<std::uint64_t>(n[0]) * static_cast<std::uint64_t>(n[1]);
    return plane <= C_3d_Chem_property::kMaxCells / static_cast<std::uint64_t>(n[2]);
}

}  // namespace

const char* to_text(chem_read_error error) noexcept {
    switch (error) {
        case chem_read_error::none: return "no error";
        case chem_read_error::outer_version: return "the record's version byte is not 0";
        case chem_read_error::body_version: return "the table's body version is above 1";
        case chem_read_error::sizes: return "the grid sizes or field counts are impossible";
        case chem_read_error::memory: return "the table's memory is not to be had";
        case chem_read_error::variant_tag: return "the variant tag is not this table kind's";
    }
    return "unknown error";
}

// Everything a record holds, built aside so that a failed read or create leaves the table as it was.
struct C_3d_Chem_property::contents {
    std::int32_t n[3] = {0, 0, 0};
    std::uint8_t log[3] = {0, 0, 0};
    double min[3] = {0.0, 0.0, 0.0};
    double bound[3] = {0.0, 0.0, 0.0};
    double step[3] = {0.0, 0.0, 0.0};
    std::uint8_t out_of_range = 0;
    std::int32_t count_a = 0;
    std::int32_t count_b = 0;
    std::uint8_t two_stream = 0;
    double stream_parameter = 0.0;
    mp::pooled_array<double> axis[3];
    std::vector<mp::pooled_array<double>> fields;
    std::int32_t vt_value = 0;
    double vt_parameter = 0.0;
};

C_3d_Chem_property::~C_3d_Chem_property() = default;

const char* C_3d_Chem_property::file_ending() const noexcept {
    return m_variant == chem_variant::PT ? "_PT.tbl" : "_VT.tbl";
}

void C_3d_Chem_property::adopt(contents& c) noexcept {
    for (int d = 0; d < 3; ++d) {
        m_n[d] = c.n[d];
        m_log[d] = c.log[d];
        m_min[d] = c.min[d];
        m_bound[d] = c.bound[d];
        m_step[d] = c.step[d];
        m_axis[d] = std::move(c.axis[d]);
    }
    m_out_of_range.store(c.out_of_range, std::memory_order_relaxed);
    m_count_a = c.count_a;
    m_count_b = c.count_b;
    m_two_stream = c.two_stream;
    m_stream_parameter = c.stream_parameter;
    m_fields.swap(c.fields);
    m_vt_value = c.vt_value;
    m_vt_parameter = c.vt_parameter;
}

std::uint64_t C_3d_Chem_property::cells() const noexcept {
    return static_cast<std::uint64_t>(m_n[0]) * static_cast<std::uint64_t>(m_n[1]) *
           static_cast<std::uint64_t>(m_n[2]);
}

bool C_3d_Chem_property::create(const chem_table_layout& layout) {
    contents c;
    for (int d = 0; d < 3; ++d) {
        const chem_axis& a = layout.axis[d];
        c.n[d] = a.n;
        c.log[d] = a.log ? 1 : 0;
        c.min[d] = a.min;
        c.bound[d] = a.bound;
        c.step[d] = a.step;
    }
    c.count_a = layout.count_a;
    c.count_b = layout.count_b;
    c.vt_value = m_vt_value;
    c.vt_parameter = m_vt_parameter;
    if (!valid_sizes(c.n, c.count_a, c.count_b)) return false;
    const auto cells = static_cast<std::size_t>(static_cast<std::uint64_t>(c.n[0]) * static_cast<std::uint64_t>(c.n[1]) *
                                                static_cast<std::uint64_t>(c.n[2]));
    try {
        for (int d = 0; d < 3; ++d) {
            if (!c.axis[d].allocate(static_cast<std::size_t>(c.n[d]))) return false;
            for (std::int32_t i = 0; i < c.n[d]; ++i) {
                const double x = c.min[d] + i * c.step[d];
                c.axis[d][static_cast<std::size_t>(i)] = c.log[d] != 0 ? std::exp(x) : x;
            }
        }
        const std::int64_t total = std::int64_t{c.count_a} + c.count_b;
        c.fields.reserve(static_cast<std::size_t>(total));
        for (std::int64_t f = 0; f < total; ++f) {
            c.fields.emplace_back();
            if (!c.fields.back().allocate(cells)) return false;
        }
    } catch (const std::bad_alloc&) {
        return false;
    } catch (const std::length_error&) {
        return false;
    }
    adopt(c);
    return true;
}

void C_3d_Chem_property::clear() noexcept {
    contents empty;
    empty.vt_value = m_vt_value;
    empty.vt_parameter = m_vt_parameter;
    adopt(empty);
}

const double* C_3d_Chem_property::field(std::int32_t index) const noexcept {
    if (index < 0 || static_cast<std::size_t>(index) >= m_fields.size()) return nullptr;
    return m_fields[static_cast<std::size_t>(index)].data();
}

double* C_3d_Chem_property::field(std::int32_t index) noexcept {
    return const_cast<double*>(std::as_const(*this).field(index));
}

// ---- property operations ---------------------------------------------------------------------

chem_cell C_3d_Chem_property::locate(double x1, double x2, double x3) const noexcept {
    chem_cell c;
    if (empty()) {
        c.w1 = c.w2 = c.w3 = kNaN;
        return c;
    }
    const double x[3] = {x1, x2, x3};
    std::int32_t index[3];
    double w[3];
    bool clamped[3] = {false, false, false};
    for (int d = 0; d < 3; ++d) {
        const double xd = m_log[d] != 0 ? std::log(x[d]) : x[d];
        place((xd - m_min[d]) / m_step[d], m_n[d], index[d], w[d], clamped[d]);
    }
    c.i = index[0];
    c.j = index[1];
    c.k = index[2];
    c.w1 = w[0];
    c.w2 = w[1];
    c.w3 = w[2];
    c.out_of_range = clamped[0] || clamped[1];  // axis 3 is clamped silently
    return c;
}

double C_3d_Chem_property::trilinear(const double* f, const std::size_t rows[4], std::int32_t k, double w1,
                                     double w2, double w3) noexcept {
    const auto kk = static_cast<std::size_t>(k);
    const double* r00 = f + rows[0] + kk;
    const double* r01 = f + rows[1] + kk;
    const double* r10 = f + rows[2] + kk;
    const double* r11 = f + rows[3] + kk;
    const double c00 = (1.0 - w3) * r00[0] + w3 * r00[1];
    const double c01 = (1.0 - w3) * r01[0] + w3 * r01[1];
    const double c10 = (1.0 - w3) * r10[0] + w3 * r10[1];
    const double c11 = (1.0 - w3) * r11[0] + w3 * r11[1];
    const double c0 = (1.0 - w2) * c00 + w2 * c01;
    const double c1 = (1.0 - w2) * c10 + w2 * c11;
    return (1.0 - w1) * c0 + w1 * c1;
}

namespace {
// Offsets of the four rows (i, j), (i, j + 1), (i + 1, j), (i + 1, j + 1).
void cell_rows(std::int32_t i, std::int32_t j, std::int32_t n2, std::int32_t n3, std::size_t rows[4]) noexcept {
    const auto N2 = static_cast<std::size_t>(n2);
    const auto N3 = static_cast<std::size_t>(n3);
    const auto ii = static_cast<std::size_t>(i);
    const auto jj = static_cast<std::size_t>(j);
    rows[0] = (ii * N2 + jj) * N3;
    rows[1] = rows[0] + N3;
    rows[2] = rows[0] + N2 * N3;
    rows[3] = rows[2] + N3;
}
}  // namespace

double C_3d_Chem_property::interpolate(std::int32_t index, double w1, double w2, double w3, std::int32_t i,
                                       std::int32_t j, std::int32_t k) const noexcept {
    const double* f = field(index);
    if (f == nullptr || i < 0 || j < 0 || k < 0 || i > m_n[0] - 2 || j > m_n[1] - 2 || k > m_n[2] - 2) return kNaN;
    std::size_t rows[4];
    cell_rows(i, j, m_n[1], m_n[2], rows);
    return trilinear(f, rows, k, w1, w2, w3);
}

chem_mixing C_3d_Chem_property::mixing_weights(double y, double a, double b) const noexcept {
    chem_mixing m;
    if (m_two_stream == 0) return m;  // (1, 0): the burnt mixture alone
    const double Y = clamp01(y);
    if (m_mode != 1) {
        const double fuel = std::min(Y, std::max(b, 0.0));
        m.fuel = fuel;
        m.burnt = 1.0 - fuel - std::min(1.0 - Y, std::max(a, 0.0));
        return m;
    }
    const double s = m_stream_parameter;
    // With s = 0 only Y = 0 reaches Y / s; the other branch is its limit from above there.
    double burnt = (s >= Y && s > 0.0) ? Y / s : (1.0 - Y) / (1.0 - s);
    burnt = std::min(burnt, std::max(b, 0.0));
    double fuel = std::max(Y - burnt * s, 0.0);
    if ((1.0 - burnt) - fuel < 0.0) fuel = 1.0 - burnt;  // rounding must not make the oxidizer weight negative
    m.burnt = burnt;
    m.fuel = fuel;
    return m;
}

chem_lookup_result C_3d_Chem_property::lookup(double x1, double x2, double y, double a, double b) const noexcept {
    chem_lookup_result r;
    if (empty() || m_count_a < kChemLookupFields) {
        r.out.fill(kNaN);
        return r;
    }
    const chem_mixing m = mixing_weights(y, a, b);
    double burnt = m.burnt;
    const double fuel = m.fuel;
    double z = clamp01(y);
    if (m_two_stream != 0) {
        if (m_mode == 1) {
            z = m_stream_parameter;
        } else if (burnt < kBurntWeightFloor) {
            burnt = 0.0;
            z = 0.0;
        } else {
            z = clamp01((z - fuel) / burnt);
        }
    }
    const chem_cell c = locate(x1, x2, z);
    if (c.out_of_range) {
        r.out_of_range = true;
        // Written only on the first clamp, so busy threads do not fight over the cache line.
        if (m_out_of_range.load(std::memory_order_relaxed) == 0) m_out_of_range.store(1, std::memory_order_relaxed);
    }

    std::size_t rows[4];
    cell_rows(c.i, c.j, m_n[1], m_n[2], rows);
    // The three columns: burnt mixture at the located point, fuel at the last z point, oxidizer at
    // the first. A column of weight 0 is left out, so that an infinite or zero edge value cannot
    // turn the sum into NaN.
    struct column {
        std::int32_t k;
        double w3;
        double weight;
    };
    const column columns[3] = {{c.k, c.w3, burnt}, {m_n[2] - 2, 1.0, fuel}, {0, 0.0, 1.0 - burnt - fuel}};
    const auto blend = [&](std::int32_t index, auto&& term) noexcept {
        const double* f = m_fields[static_cast<std::size_t>(index)].data();
        double sum = 0.0;
        for (const column& col : columns)
            if (col.weight != 0.0) sum += term(col.weight, trilinear(f, rows, col.k, c.w1, c.w2, col.w3));
        return sum;
    };
    const auto linear = [](double w, double value) noexcept { return w * value; };

    const double v = blend(0, [](double w, double ln_v) noexcept { return w * std::exp(ln_v); });
    const double A3 = blend(3, linear);
    const double A4 = blend(4, linear);
    r.out[0] = 1.0 / v;
    r.out[1] = blend(1, linear);
    r.out[2] = blend(5, linear);
    r.out[4] = 1.0 / blend(9, [](double w, double value) noexcept { return w / value; });
    r.out[6] = blend(2, linear);
    r.out[7] = blend(8, linear);
    const double v2 = v * v;
    const double c_sound = std::sqrt(-(v2 / (A3 * A3 * x2 / r.out[2] + A4)));
    r.out[5] = c_sound;
    r.out[3] = -(c_sound * c_sound * A4 / v2);
    return r;
}

// ---- record ----------------------------------------------------------------------------------

void C_3d_Chem_property::write(C_file_io& stream) const {
    if (empty()) throw c_RQ_io_error_logic("C_3d_Chem_property::write: the table is empty");
    stream.put<std::uint8_t>(0);
    stream.put<std::uint8_t>(1);
    stream.write(m_n, 3);
    stream.write(m_log, 3);
    const double bounds[9] = {m_min[0], m_bound[0], m_min[1], m_bound[1], m_min[2],
                              m_bound[2], m_step[0],  m_step[1],  m_step[2]};
    stream.write(bounds, 9);
    stream.put(m_out_of_range.load(std::memory_order_relaxed));
    stream.put(m_count_a);
    stream.put(m_count_b);
    stream.put(m_stream_parameter);
    stream.put(m_two_stream);
    for (int d = 0; d < 3; ++d) stream.write(m_axis[d].data(), static_cast<std::size_t>(m_n[d]));
    const auto n = static_cast<std::size_t>(cells());
    for (const auto& f : m_fields) stream.write(f.data(), n);
    stream.put(static_cast<std::int32_t>(m_variant));
    if (m_variant == chem_variant::VT) {
        stream.put(m_vt_value);
        stream.put(m_vt_parameter);
    }
}

bool C_3d_Chem_property::read(C_file_io& stream, std::uint8_t& version) {
    chem_read_error why = chem_read_error::none;
    return read(stream, version, why);
}

bool C_3d_Chem_property::read(C_file_io& stream, std::uint8_t& version, chem_read_error& why) {
    why = chem_read_error::none;
    version = 0xFF;
    std::uint8_t outer = 0xFF;
    stream.read(&outer, 1);
    if (outer != 0) {
        why = chem_read_error::outer_version;
        return false;
    }
    std::uint8_t body = 0xFF;
    stream.read(&body, 1);
    version = body;
    if (body > 1) {
        why = chem_read_error::body_version;
        return false;
    }
    contents c;
    stream.read(c.n, 3);
    stream.read(c.log, 3);
    double bounds[9];
    stream.read(bounds, 9);
    for (int d = 0; d < 3; ++d) {
        c.min[d] = bounds[2 * d];
        c.bound[d] = bounds[2 * d + 1];
        c.step[d] = bounds[6 + d];
    }
    c.out_of_range = stream.get<std::uint8_t>();
    c.count_a = stream.get<std::int32_t>();
    c.count_b = stream.get<std::int32_t>();
    if (body == 1) {
        c.stream_parameter = stream.get<double>();
        c.two_stream = stream.get<std::uint8_t>();
    }
    if (!valid_sizes(c.n, c.count_a, c.count_b)) {
        why = chem_read_error::sizes;
        return false;
    }
    for (int d = 0; d < 3; ++d)
        if (!mp::read_pooled_doubles(stream, c.axis[d], static_cast<std::size_t>(c.n[d]))) {
            why = chem_read_error::memory;
            return false;
        }
    // The first field is read in pieces before it is allocated; once the stream has held one field,
    // each further one is allocated whole, so a damaged count never allocates far beyond the data.
    const auto n = static_cast<std::size_t>(static_cast<std::uint64_t>(c.n[0]) * static_cast<std::uint64_t>(c.n[1]) *
                                            static_cast<std::uint64_t>(c.n[2]));
    const std::int64_t total = std::int64_t{c.count_a} + c.count_b;
    for (std::int64_t f = 0; f < total; ++f) {
        c.fields.emplace_back();
        auto& to = c.fields.back();
        const bool ok = f == 0 ? mp::read_pooled_doubles(stream, to, n) : to.allocate(n);
        if (!ok) {
            why = chem_read_error::memory;
            return false;
        }
        if (f > 0) stream.read(to.data(), n);
    }
    if (stream.get<std::int32_t>() != static_cast<std::int32_t>(m_variant)) {
        why = chem_read_error::variant_tag;
        return false;
    }
    if (m_variant == chem_variant::VT) {
        c.vt_value = stream.get<std::int32_t>();
        c.vt_parameter = stream.get<double>();
    }
    adopt(c);
    return true;
}
