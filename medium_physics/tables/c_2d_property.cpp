#include "tables/c_2d_property.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "tables/c_1d_param.h"
#include "real_gas/crgpropertygenerator.h"
#include "file_io/c_file_io/c_file_io.h"
#include "factory/mp_settings.h"

namespace {

// Saturation lines longer than this are refused on reading (a corrupt count).
constexpr std::int32_t kMaxSaturationNodes = 1 << 20;

std::uint8_t read_version(C_file_io& stream) {
    std::uint8_t version = 0xFF;
    stream.read(&version, 1);
    return version;
}

}  // namespace

C_2d_RG_property::~C_2d_RG_property() { release_patches(); }

void C_2d_RG_property::release_patches() noexcept {
    for (auto& column : m_patch)
        for (auto& p : column) delete p.exchange(nullptr, std::memory_order_acq_rel);
}

void C_2d_RG_property::set_frame(std::shared_ptr<IRGPropertyGenerator> generator, double x0, double x1, double y0,
                                 double y1) {
    m_generator = std::move(generator);
    m_fill = m_generator.get();
    m_x0 = x0;
    m_x1 = x1;
    m_y0 = y0;
    m_y1 = y1;
}

const Cage* C_2d_RG_property::patch_at(std::int32_t ix, std::int32_t iy, std::int32_t kind, double xlo, double xhi,
                                       double ylo, double yhi) const {
    std::atomic<Cage*>& slot = m_patch[ix][iy];
    if (const Cage* ready = slot.load(std::memory_order_acquire)) return ready;
    std::lock_guard<std::mutex> lock(m_create);
    if (const Cage* ready = slot.load(std::memory_order_acquire)) return ready;
    if (m_fill == nullptr) return nullptr;
    std::unique_ptr<Cage> cage = Cage::make(kind);
    if (!cage || !cage->fill(*m_fill, xlo, xhi, ylo, yhi)) return nullptr;
    // the fill is complete before the pointer is published
    Cage* made = cage.release();
    slot.store(made, std::memory_order_release);
    return made;
}

bool C_2d_RG_property::lookup(double x, double y, double out[Cage::kProperties]) const noexcept {
    try {
        clamp(x, y);
        const Cage* cage = patch(x, y);
        if (cage == nullptr) {
            std::fill(out, out + Cage::kProperties, 0.0);
            return false;
        }
        cage->values(x, y, out);
        return true;
    } catch (...) {  // a patch that could not be made (memory): no values
        std::fill(out, out + Cage::kProperties, 0.0);
        return false;
    }
}

bool C_2d_RG_property::lookup_derivatives(double x, double y, double out[Cage::kProperties], double d[4]) const noexcept {
    try {
        clamp(x, y);
        const Cage* cage = patch(x, y);
        if (cage == nullptr) {
            std::fill(out, out + Cage::kProperties, 0.0);
            std::fill(d, d + 4, 0.0);
            return false;
        }
        const cage_cell c = cage->locate(x, y);
        cage->values(c, out);
        d[0] = cage->derivative_x(0, c);
        d[1] = cage->derivative_y(0, c);
        d[2] = cage->derivative_x(1, c);
        d[3] = cage->derivative_y(1, c);
        return true;
    } catch (...) {
        std::fill(out, out + Cage::kProperties, 0.0);
        std::fill(d, d + 4, 0.0);
        return false;
    }
}

bool C_2d_RG_property::lookup_on_side(double x, double y, int side, double out[Cage::kProperties],
                                      double d[4]) const noexcept {
    // cells looked at beyond the one that holds (x, y); the line crosses at most a few
    constexpr int kMaxCellSteps = 16;
    clamp(x, y);
    if ((side != 1 && side != 2) || m_n < 2 || !(y < m_Tend)) return lookup_derivatives(x, y, out, d);
    try {
        double xe = x;
        const Cage* cage = nullptr;
        cage_cell c;
        for (int step = 0; step <= kMaxCellSteps; ++step) {
            cage = patch(xe, y);
            if (cage == nullptr) break;
            c = cage->locate(xe, y);
            const double* xn = cage->x_nodes();
            const double ya = cage->y_begin() + c.j * cage->dy();
            const double la = saturation(kLnPsat, ya), lb = saturation(kLnPsat, ya + cage->dy());
            const bool on_side = side == 1 ? xn[c.i] >= std::max(la, lb) : xn[c.i + 1] < std::min(la, lb);
            if (on_side) break;
            // the next cell away from the line: just past this cell's edge, inside the table
            const double edge = side == 1 ? xn[c.i + 1] : xn[c.i];
            const double next = side == 1 ? edge + 1e-9 * (xn[c.i + 1] - xn[c.i]) : edge - 1e-9 * (xn[c.i + 1] - xn[c.i]);
            if (!(next > m_x0) || !(next < m_x1)) break;  // the table's edge: this cell as it is
            xe = next;
        }
        if (cage == nullptr) {
            std::fill(out, out + Cage::kProperties, 0.0);
            std::fill(d, d + 4, 0.0);
            return false;
        }
        // the chosen cell's bilinear form at the point asked for
        const double* xn = cage->x_nodes();
        c.t = (x - xn[c.i]) / (xn[c.i + 1] - xn[c.i]);
        cage->values(c, out);
        d[0] = cage->derivative_x(0, c);
        d[1] = cage->derivative_y(0, c);
        d[2] = cage->derivative_x(1, c);
        d[3] = cage->derivative_y(1, c);
        return true;
    } catch (...) {
        std::fill(out, out + Cage::kProperties, 0.0);
        std::fill(d, d + 4, 0.0);
        return false;
    }
}

double C_2d_RG_property::saturation(int a, double T) const noexcept {
    if (m_n < 2) return 0.0;
    const double* f = m_line[a].data();
    T = T > m_y0 ? (T < m_Tend ? T : m_Tend) : m_y0;
    if (T == m_Tend) return f[m_n - 1];
    auto k = static_cast<std::int32_t>((T - m_y0) * m_inverse_dT);
    k = std::min(k, m_n - 2);  // rounding just below Tend
    const double Tk = m_y0 + k * m_dT;
    return f[k] + (T - Tk) * m_inverse_dT * (f[k + 1] - f[k]);
}

double C_2d_RG_property::saturation_slope(int a, double T) const noexcept {
    if (m_n < 2) return 0.0;
    const double* f = m_line[a].data();
    T = T > m_y0 ? (T < m_Tend ? T : m_Tend) : m_y0;
    auto k = static_cast<std::int32_t>((T - m_y0) * m_inverse_dT);
    k = std::clamp(k, 0, m_n - 2);
    return (f[k + 1] - f[k]) * m_inverse_dT;
}

double C_2d_RG_property::saturation_temperature(double ln_p) const noexcept {
    if (m_n < 2) return 0.0;
    const double* f = m_line[kLnPsat].data();
    if (!(ln_p > f[0])) return m_y0;  // (a NaN goes to the lower end)
    if (ln_p >= f[m_n - 1]) return m_Tend;
    std::int32_t lo = 0, hi = m_n - 1;  // f[lo] < ln_p <= f[hi]
    while (hi - lo > 1) {
        const std::int32_t mid = (lo + hi) / 2;
        if (f[mid] < ln_p) lo = mid;
        else hi = mid;
    }
    const double T = m_y0 + (lo + (ln_p - f[lo]) / (f[lo + 1] - f[lo])) * m_dT;
    return T < m_Tend ? T : m_Tend;
}

bool C_2d_RG_property::fill_saturation_line(std::int32_t n) {
    if (m_fill == nullptr || n < 2 || n > kMaxSaturationNodes) return false;
    m_Tc = m_fill->critical_temperature();
    const double Tc_end = m_Tc * kSaturationEndFraction;
    if (m_y0 >= Tc_end) {
        // wholly supercritical: no two phases anywhere in the table
        for (auto& a : m_line) a.release();
        m_Tend = m_dT = m_inverse_dT = 0.0;
        m_n = 0;
        return true;
    }
    const double Tend = std::min(m_y1, Tc_end);
    if (!(Tend > m_y0)) return false;
    mp::pooled_array<double> line[kSaturationArrays];
    for (auto& a : line)
        if (!a.allocate(static_cast<std::size_t>(n))) return false;
    const double dT = (Tend - m_y0) / (n - 1);
    const IRGPropertyGenerator& g = *m_fill;
    double* const out[kGeneratorArrays] = {line[0].data(), line[1].data(), line[2].data(), line[3].data(), line[4].data(),
                                           line[5].data(), line[6].data(), line[7].data(), line[8].data()};
    double* const nodeT = line[kNodeTemperature].data();
    double* const cell = line[kCellIndex].data();
#pragma omp parallel for schedule(dynamic, 4) num_threads(mp::omp_threads())
    for (std::int32_t k = 0; k < n; ++k) {
        const double T = k == n - 1 ? Tend : m_y0 + k * dT;
        out[0][k] = g.saturation_ln_p(T);
        out[1][k] = g.saturation_rho_liquid(T);
        out[2][k] = g.saturation_rho_vapour(T);
        out[3][k] = g.saturation_h_liquid(T);
        out[4][k] = g.saturation_h_vapour(T);
        out[5][k] = g.saturation_s_liquid(T);
        out[6][k] = g.saturation_s_vapour(T);
        out[7][k] = g.spinodal_p_liquid(T);
        out[8][k] = g.spinodal_p_vapour(T);
        nodeT[k] = T;
        cell[k] = std::min(k, n - 2);
    }
    for (int a = 0; a < kSaturationArrays; ++a) m_line[a] = std::move(line[a]);
    m_Tend = Tend;
    m_dT = dT;
    m_inverse_dT = 1.0 / dT;
    m_n = n;
    return true;
}

bool C_2d_RG_property::patch_covers(std::int32_t ix, std::int32_t iy, double xlo, double xhi, double ylo,
                                    double yhi) const noexcept {
    const Cage* c = existing_patch(ix, iy);
    if (c == nullptr) return true;
    const double wx = xhi - xlo, wy = yhi - ylo;
    const auto near = [](double a, double b, double w) { return std::fabs(a - b) <= 1e-9 * w; };
    return near(c->x_begin(), xlo, wx) && near(c->x_end(), xhi, wx) && near(c->y_begin(), ylo, wy) &&
           near(c->y_end(), yhi, wy);
}

std::int32_t C_2d_RG_property::patches_filled() const noexcept {
    std::int32_t n = 0;
    for (const auto& column : m_patch)
        for (const auto& p : column) n += p.load(std::memory_order_acquire) != nullptr ? 1 : 0;
    return n;
}

std::size_t C_2d_RG_property::bytes() const noexcept {
    std::size_t total = sizeof(*this);
    for (const auto& a : m_line) total += a.size() * sizeof(double);
    for (const auto& column : m_patch)
        for (const auto& p : column)
            if (const Cage* c = p.load(std::memory_order_acquire)) total += c->bytes();
    return total;
}

void C_2d_RG_property::write_base(C_file_io& stream) const {
    const std::uint8_t version = 0;
    stream.put(version);
    for (std::int32_t ix = 0; ix < kPatches; ++ix)
        for (std::int32_t iy = 0; iy < kPatches; ++iy) {
            const Cage* c = existing_patch(ix, iy);
            const std::int32_t kind = c != nullptr ? c->kind() : 0;
            stream.put(kind);
            if (c != nullptr) c->write(stream);
        }
    const double frame[4] = {m_x0, m_x1, m_y0, m_y1};
    stream.write(frame, 4);
    m_generator->write(stream);
    stream.put(m_Tend);
    stream.put(m_inverse_dT);
    stream.put(m_dT);
    stream.put(m_n);
    for (const auto& a : m_line)
        if (m_n > 0) stream.write(a.data(), static_cast<std::size_t>(m_n));
    stream.put(m_Tc);
}

bool C_2d_RG_property::read_base(C_file_io& stream, std::shared_ptr<IRGPropertyGenerator> generator) {
    if (!generator || read_version(stream) != 0) return false;
    std::unique_ptr<Cage> patches[kPatches][kPatches];
    for (std::int32_t ix = 0; ix < kPatches; ++ix)
        for (std::int32_t iy = 0; iy < kPatches; ++iy) {
            std::int32_t kind = 0;
            stream.read(&kind, 1);
            // another tag leaves the patch absent: it is made on first use
            if (kind < 1 || kind > 3) continue;
            patches[ix][iy] = Cage::make(kind);
            if (!patches[ix][iy]->read(stream)) return false;
        }
    double frame[4];
    stream.read(frame, 4);
    if (!generator->read(stream)) return false;
    double Tend = 0.0, inverse_dT = 0.0, dT = 0.0, Tc = 0.0;
    std::int32_t n = 0;
    stream.read(&Tend, 1);
    stream.read(&inverse_dT, 1);
    stream.read(&dT, 1);
    stream.read(&n, 1);
    if (n < 0 || n > kMaxSaturationNodes || n == 1) return false;
    mp::pooled_array<double> line[kSaturationArrays];
    for (auto& a : line)
        if (!mp::read_pooled_doubles(stream, a, static_cast<std::size_t>(n))) return false;
    stream.read(&Tc, 1);
    // a line whose step does not match its ends would index past its arrays
    if (n >= 2 && !(dT > 0.0 && std::fabs(frame[2] + (n - 1) * dT - Tend) <= 1e-9 * std::fabs(Tend) + 1e-12))
        return false;
    if (!(frame[1] > frame[0]) || !(frame[3] > frame[2])) return false;
    release_patches();
    for (std::int32_t ix = 0; ix < kPatches; ++ix)
        for (std::int32_t iy = 0; iy < kPatches; ++iy)
            m_patch[ix][iy].store(patches[ix][iy].release(), std::memory_order_release);
    set_frame(std::move(generator), frame[0], frame[1], frame[2], frame[3]);
    m_Tend = Tend;
    m_dT = dT;
    m_inverse_dT = n >= 2 ? 1.0 / dT : 0.0;
    (void)inverse_dT;
    m_n = n;
    for (int a = 0; a < kSaturationArrays; ++a) m_line[a] = std::move(line[a]);
    m_Tc = Tc;
    return true;
}

// ---- regular ------------------------------------------------------------------------------------

C_2d_RG_property_regular::C_2d_RG_property_regular(std::shared_ptr<IRGPropertyGenerator> generator, double x0,
                                                   double x1, double y0, double y1) {
    set_frame(std::move(generator), x0, x1, y0, y1);
    m_dX = (x1 - x0) / kPatches;
    m_dY = (y1 - y0) / kPatches;
}

const Cage* C_2d_RG_property_regular::patch(double x, double y) const {
    auto ix = static_cast<std::int32_t>((x - m_x0) / m_dX);
    auto iy = static_cast<std::int32_t>((y - m_y0) / m_dY);
    ix = std::min(ix, kPatches - 1);
    iy = std::min(iy, kPatches - 1);
    if (ix < 0 || iy < 0) return nullptr;  // callers clamp; a point below the table finds nothing
    return patch_at(ix, iy, 1, m_x0 + ix * m_dX, m_x0 + (ix + 1) * m_dX, m_y0 + iy * m_dY, m_y0 + (iy + 1) * m_dY);
}

void C_2d_RG_property_regular::write(C_file_io& stream) const {
    const std::uint8_t version = 0;
    stream.put(version);
    write_base(stream);
    stream.put(m_dX);
    stream.put(m_dY);
}

bool C_2d_RG_property_regular::read(C_file_io& stream, std::shared_ptr<IRGPropertyGenerator> generator) {
    if (read_version(stream) != 0) return false;
    if (!read_base(stream, std::move(generator))) return false;
    double dX = 0.0, dY = 0.0;
    stream.read(&dX, 1);
    stream.read(&dY, 1);
    // the widths must tile the rectangle, or patch indices would run past the patchwork
    if (!(dX > 0.0 && dY > 0.0) || std::fabs(dX * kPatches - (m_x1 - m_x0)) > 1e-9 * (m_x1 - m_x0) ||
        std::fabs(dY * kPatches - (m_y1 - m_y0)) > 1e-9 * (m_y1 - m_y0))
        return false;
    m_dX = dX;
    m_dY = dY;
    for (std::int32_t ix = 0; ix < kPatches; ++ix)
        for (std::int32_t iy = 0; iy < kPatches; ++iy)
            if (!patch_covers(ix, iy, m_x0 + ix * m_dX, m_x0 + (ix + 1) * m_dX, m_y0 + iy * m_dY, m_y0 + (iy + 1) * m_dY))
                return false;
    return true;
}

bool C_2d_RG_property_regular::fill_all() const {
    for (std::int32_t ix = 0; ix < kPatches; ++ix)
        for (std::int32_t iy = 0; iy < kPatches; ++iy)
            if (patch(m_x0 + (ix + 0.5) * m_dX, m_y0 + (iy + 0.5) * m_dY) == nullptr) return false;
    return true;
}

// ---- adaptable ----------------------------------------------------------------------------------

C_2d_RG_property_adaptable::C_2d_RG_property_adaptable(std::shared_ptr<IRGPropertyGenerator> generator,
                                                       const double* boundaries, const std::int32_t* kinds,
                                                       std::int32_t M, double y0, double y1) {
    if (M < 1 || M > kPatches) throw std::invalid_argument("strip count out of 1..10");
    for (std::int32_t m = 0; m < M; ++m)
        if (!(boundaries[m + 1] > boundaries[m]) || kinds[m] < 1 || kinds[m] > 3)
            throw std::invalid_argument("strips must ascend and name a cage kind 1..3");
    set_frame(std::move(generator), boundaries[0], boundaries[M], y0, y1);
    m_M = M;
    std::copy(boundaries, boundaries + M + 1, m_boundary);
    std::copy(kinds, kinds + M + 1, m_kind);
    m_dY = (y1 - y0) / kPatches;
    m_weight = Cage_nonuniform::kPlacementWeight;
}

std::unique_ptr<C_2d_RG_property_adaptable> C_2d_RG_property_adaptable::around_saturation(
    std::shared_ptr<IRGPropertyGenerator> generator, double x0, double x1, double y0, double y1) {
    const double critical_x = std::log(generator->critical_pressure());
    const double critical_y = generator->critical_temperature();
    double boundaries[kPatches + 1];
    std::int32_t kinds[kPatches + 1];
    for (std::int32_t m = 0; m <= kPatches; ++m) {
        boundaries[m] = m == kPatches ? x1 : x0 + (x1 - x0) * m / kPatches;
        kinds[m] = 1;
    }
    // strips reaching up to the critical pressure and below: the saturation line can cross them
    // when the table has one
    for (std::int32_t m = 0; m < kPatches; ++m)
        if (boundaries[m] <= critical_x && y0 < critical_y * kSaturationEndFraction) kinds[m] = 2;
    kinds[kPatches] = kinds[kPatches - 1];
    auto table = std::make_unique<C_2d_RG_property_adaptable>(std::move(generator), boundaries, kinds, kPatches, y0, y1);
    table->m_critical_x = critical_x;
    table->m_critical_y = critical_y;
    return table;
}

const Cage* C_2d_RG_property_adaptable::patch(double x, double y) const {
    if (m_M < 1) return nullptr;
    std::int32_t m = 0;
    while (m + 1 < m_M && x >= m_boundary[m + 1]) ++m;
    auto iy = static_cast<std::int32_t>((y - m_y0) / m_dY);
    iy = std::min(iy, kPatches - 1);
    if (iy < 0) return nullptr;
    return patch_at(m, iy, m_kind[m], m_boundary[m], m_boundary[m + 1], m_y0 + iy * m_dY, m_y0 + (iy + 1) * m_dY);
}

void C_2d_RG_property_adaptable::write(C_file_io& stream) const {
    const std::uint8_t version = 0;
    stream.put(version);
    write_base(stream);
    stream.put(m_M);
    stream.write(m_boundary, static_cast<std::size_t>(m_M) + 1);
    stream.write(m_kind, static_cast<std::size_t>(m_M) + 1);
    stream.put(m_dY);
    stream.put(m_critical_x);
    stream.put(m_critical_y);
    stream.put(m_weight);
}

bool C_2d_RG_property_adaptable::read(C_file_io& stream, std::shared_ptr<IRGPropertyGenerator> generator) {
    if (read_version(stream) != 0) return false;
    if (!read_base(stream, std::move(generator))) return false;
    std::int32_t M = 0;
    stream.read(&M, 1);
    if (M < 1 || M > kPatches) return false;
    double boundaries[kPatches + 1];
    std::int32_t kinds[kPatches + 1];
    stream.read(boundaries, static_cast<std::size_t>(M) + 1);
    stream.read(kinds, static_cast<std::size_t>(M) + 1);
    double further[4];
    stream.read(further, 4);
    for (std::int32_t m = 0; m < M; ++m)
        if (!(boundaries[m + 1] > boundaries[m]) || kinds[m] < 1 || kinds[m] > 3) return false;
    if (boundaries[0] != m_x0 || boundaries[M] != m_x1) return false;
    if (!(further[0] > 0.0) || std::fabs(further[0] * kPatches - (m_y1 - m_y0)) > 1e-9 * (m_y1 - m_y0)) return false;
    // a stored patch beyond the strips would never be reached; one of another kind than its strip
    // is kept (it was made so)
    m_M = M;
    std::copy(boundaries, boundaries + M + 1, m_boundary);
    std::copy(kinds, kinds + M + 1, m_kind);
    m_dY = further[0];
    m_critical_x = further[1];
    m_critical_y = further[2];
    m_weight = further[3];
    for (std::int32_t ix = 0; ix < kPatches; ++ix)
        for (std::int32_t iy = 0; iy < kPatches; ++iy) {
            // patches beyond the strips are never reached
            if (ix >= M) continue;
            if (!patch_covers(ix, iy, m_boundary[ix], m_boundary[ix + 1], m_y0 + iy * m_dY, m_y0 + (iy + 1) * m_dY))
                return false;
        }
    return true;
}

bool C_2d_RG_property_adaptable::fill_all() const {
    for (std::int32_t m = 0; m < m_M; ++m)
        for (std::int32_t iy = 0; iy < kPatches; ++iy)
            if (patch(0.5 * (m_boundary[m] + m_boundary[m + 1]), m_y0 + (iy + 0.5) * m_dY) == nullptr) return false;
    return true;
}
