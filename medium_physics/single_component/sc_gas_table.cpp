#include "single_component/sc_gas_table.h"

#include <algorithm>
#include <cmath>
#include <exception>

#include "file_io/c_file_io/c_file_io.h"
#include "tables/checksummed_file.h"

namespace fs = std::filesystem;
using c_file_io::internal::seek_origin;

namespace mp::single_component {

namespace {

// Cell and weight of a coordinate on a uniform axis of n nodes; the weight leaves [0, 1] outside
// the axis, so that the edge cell extrapolates.
inline void cell_of(double coordinate, double first, double step, std::int32_t n, std::int32_t& cell,
                    double& weight) noexcept {
    const double t = (coordinate - first) / step;
    double c = std::floor(t);
    if (!(c >= 0.0)) c = 0.0;  // also a NaN coordinate
    if (c > n - 2) c = n - 2;
    cell = static_cast<std::int32_t>(c);
    weight = t - c;
}

// Values per node in `nodes`.
constexpr std::size_t kF = kFieldCount;

std::string text_of(const char* what, std::int32_t i, std::int32_t j) {
    return std::string(what) + " at node (" + std::to_string(i) + ", " + std::to_string(j) + ")";
}

}  // namespace

void sc_gas_table::resize(std::int32_t nx_, std::int32_t nT_) {
    nx = nx_;
    nT = nT_;
    const std::size_t n = static_cast<std::size_t>(nx) * static_cast<std::size_t>(nT);
    for (auto& f : values) f.assign(n, 0.0);
    mu.assign(static_cast<std::size_t>(nT), 0.0);
    lambda.assign(static_cast<std::size_t>(nT), 0.0);
}

// ---- lookups ------------------------------------------------------------------------------------

void sc_gas_table::prepare() {
    const std::size_t n = static_cast<std::size_t>(nx) * static_cast<std::size_t>(nT);
    nodes.assign(n * kF, 0.0);
    for (std::size_t k = 0; k < n; ++k)
        for (std::size_t f = 0; f < kF; ++f)
            if (k < values[f].size()) nodes[k * kF + f] = values[f][k];
}

void sc_gas_table::at_cell(double v, std::int32_t i, double wx, double T, sc_state& out) const noexcept {
    std::int32_t j = 0;
    double wT = 0.0;
    const double step = dT();
    cell_of(T, T0, step, nT, j, wT);
    const std::size_t k00 = static_cast<std::size_t>(j) * static_cast<std::size_t>(nx) + static_cast<std::size_t>(i);
    const double* n00 = nodes.data() + k00 * kF;
    const double* n10 = n00 + kF;
    const double* n01 = n00 + static_cast<std::size_t>(nx) * kF;
    const double* n11 = n01 + kF;
    double r[kFieldCount];
    for (std::size_t f = 0; f < kF; ++f) {
        const double lo = n00[f] + wx * (n10[f] - n00[f]);
        const double hi = n01[f] + wx * (n11[f] - n01[f]);
        r[f] = lo + wT * (hi - lo);
    }
    const double d_lo = n10[kPv] - n00[kPv], d_hi = n11[kPv] - n01[kPv];
    out.dpv_dT = ((n01[kPv] + wx * d_hi) - (n00[kPv] + wx * d_lo)) / step;
    out.dpv_dx = (d_lo + wT * (d_hi - d_lo)) / dx();
    const std::size_t jj = static_cast<std::size_t>(j);
    out.v = v;
    out.T = T;
    out.p = r[kPv] / v;
    out.e = r[kE];
    out.cp = r[kCp];
    out.cv = r[kCv];
    out.a = r[kSound];
    out.mu = mu[jj] + wT * (mu[jj + 1] - mu[jj]);
    out.lambda = lambda[jj] + wT * (lambda[jj + 1] - lambda[jj]);
}

double sc_gas_table::invert_in_T(std::int32_t f, std::int32_t i, double wx, double target) const noexcept {
    const double* base = nodes.data() + static_cast<std::size_t>(i) * kF + static_cast<std::size_t>(f);
    const std::size_t row = static_cast<std::size_t>(nx) * kF;
    const auto column = [&](std::int32_t j) noexcept {
        const double* n = base + static_cast<std::size_t>(j) * row;
        return n[0] + wx * (n[kF] - n[0]);
    };
    // The field rises with T on every column (check() makes sure): one monotone search, started
    // where a straight line between the column's ends puts the target.
    const double c_first = column(0), c_last = column(nT - 1);
    std::int32_t lo = 0;
    if (target >= c_last) {
        lo = nT - 2;
    } else if (target > c_first) {
        const double guess = (target - c_first) / (c_last - c_first) * (nT - 1);
        lo = std::clamp(static_cast<std::int32_t>(guess), 0, nT - 2);
        while (lo > 0 && column(lo) > target) --lo;
        while (lo < nT - 2 && column(lo + 1) <= target) ++lo;
    }
    const double c_lo = column(lo), c_hi = column(lo + 1);
    return T0 + (lo + (target - c_lo) / (c_hi - c_lo)) * dT();
}

void sc_gas_table::at_v_T(double v, double T, sc_state& out) const noexcept {
    std::int32_t i = 0;
    double wx = 0.0;
    cell_of(std::log(v), x0, dx(), nx, i, wx);
    at_cell(v, i, wx, T, out);
}

void sc_gas_table::at_e_v(double e, double v, sc_state& out) const noexcept {
    std::int32_t i = 0;
    double wx = 0.0;
    cell_of(std::log(v), x0, dx(), nx, i, wx);
    at_cell(v, i, wx, invert_in_T(kE, i, wx, e), out);
}

void sc_gas_table::at_pv_v(double pv, double v, sc_state& out) const noexcept {
    std::int32_t i = 0;
    double wx = 0.0;
    cell_of(std::log(v), x0, dx(), nx, i, wx);
    at_cell(v, i, wx, invert_in_T(kPv, i, wx, pv), out);
}

void sc_gas_table::at_p_T(double p, double T, sc_state& out) const noexcept {
    std::int32_t j = 0;
    double wT = 0.0;
    cell_of(T, T0, dT(), nT, j, wT);
    const double* pv = nodes.data() + kPv;
    const double step = dx();
    const std::size_t row = static_cast<std::size_t>(nx) * kF;
    // ln p at node x_i of the isotherm: ln(pv) - x; it falls with i (check() makes sure).
    const auto ln_p = [&](std::int32_t i) noexcept {
        const double* n =
            pv + (static_cast<std::size_t>(j) * static_cast<std::size_t>(nx) + static_cast<std::size_t>(i)) * kF;
        return std::log(n[0] + wT * (n[row] - n[0])) - (x0 + i * step);
    };
    const double target = std::log(p);
    std::int32_t lo = 0, hi = nx - 1;
    double l_lo = ln_p(lo), l_hi = ln_p(hi);
    if (target >= l_lo) {
        hi = 1;
        l_hi = ln_p(1);
    } else if (target <= l_hi) {
        lo = nx - 2;
        l_lo = ln_p(lo);
    } else {
        while (hi - lo > 1) {
            const std::int32_t mid = (lo + hi) / 2;
            const double l = ln_p(mid);
            if (l >= target) {
                lo = mid;
                l_lo = l;
            } else {
                hi = mid;
                l_hi = l;
            }
        }
    }
    // ln p linear in x within the cell: exact for an ideal gas.
    const double wx = (l_lo - target) / (l_lo - l_hi);
    at_cell(std::exp(x0 + (lo + wx) * step), lo, wx, T, out);
    out.p = p;
}

// ---- checks and records -------------------------------------------------------------------------

std::string sc_gas_table::check() const {
    if (nx < 2 || nT < 2 || nx > kMaxNodes || nT > kMaxNodes)
        return "grid sizes " + std::to_string(nx) + " x " + std::to_string(nT) + " outside 2.." +
               std::to_string(kMaxNodes);
    if (!(std::isfinite(x0) && std::isfinite(x1) && x1 > x0)) return "the ln v axis does not increase";
    if (!(std::isfinite(T0) && std::isfinite(T1) && T0 > 0.0 && T1 > T0)) return "the T axis does not increase from above 0 K";
    if (!(molar_mass > 0.0 && std::isfinite(molar_mass) && R > 0.0 && std::isfinite(R)))
        return "molar mass and gas constant must be finite and above 0";
    const std::size_t n = static_cast<std::size_t>(nx) * static_cast<std::size_t>(nT);
    for (const auto& f : values)
        if (f.size() != n) return "a field does not hold nx * nT values";
    if (mu.size() != static_cast<std::size_t>(nT) || lambda.size() != static_cast<std::size_t>(nT))
        return "the transport columns do not hold nT values";
    const double step = dx();
    for (std::int32_t j = 0; j < nT; ++j) {
        if (!(mu[static_cast<std::size_t>(j)] > 0.0 && std::isfinite(mu[static_cast<std::size_t>(j)]) &&
              lambda[static_cast<std::size_t>(j)] > 0.0 && std::isfinite(lambda[static_cast<std::size_t>(j)])))
            return "viscosity or conductivity not finite and above 0 at T node " + std::to_string(j);
        for (std::int32_t i = 0; i < nx; ++i) {
            for (std::int32_t f = 0; f < kFieldCount; ++f)
                if (!std::isfinite(value(f, i, j))) return text_of("a value that is not finite", i, j);
            if (!(value(kPv, i, j) > 0.0 && value(kCp, i, j) > 0.0 && value(kCv, i, j) > 0.0 && value(kSound, i, j) > 0.0))
                return text_of("p v, cp, cv or a not above 0", i, j);
            if (j > 0 && !(value(kE, i, j) > value(kE, i, j - 1)))
                return text_of("e does not rise with T", i, j);
            if (j > 0 && !(value(kPv, i, j) > value(kPv, i, j - 1)))
                return text_of("p v does not rise with T (not a gas)", i, j);
            if (i > 0 && !(std::log(value(kPv, i, j)) - step < std::log(value(kPv, i - 1, j))))
                return text_of("p does not fall with v (not a gas)", i, j);
        }
    }
    return {};
}

void sc_gas_table::write(C_file_io& stream) const {
    stream.put(kScRecordVersion);
    stream.write_string(name);
    stream.write_guid(identifier);
    stream.put(molar_mass);
    stream.put(R);
    stream.put(Tc);
    stream.put(pc);
    stream.put(nx);
    stream.put(nT);
    stream.put(x0);
    stream.put(x1);
    stream.put(T0);
    stream.put(T1);
    stream.put<std::int32_t>(kFieldCount);
    for (const auto& f : values) stream.write(f.data(), f.size());
    stream.write(mu.data(), mu.size());
    stream.write(lambda.data(), lambda.size());
}

bool sc_gas_table::read(C_file_io& stream, std::string& why) {
    *this = sc_gas_table{};
    const auto version = stream.get<std::uint8_t>();
    if (version != kScRecordVersion) {
        why = "record version " + std::to_string(version) + ", not " + std::to_string(kScRecordVersion);
        return false;
    }
    stream.read_string(name);
    stream.read_guid(identifier);
    molar_mass = stream.get<double>();
    R = stream.get<double>();
    Tc = stream.get<double>();
    pc = stream.get<double>();
    const auto nx_ = stream.get<std::int32_t>();
    const auto nT_ = stream.get<std::int32_t>();
    if (nx_ < 2 || nT_ < 2 || nx_ > kMaxNodes || nT_ > kMaxNodes ||
        static_cast<std::int64_t>(nx_) * nT_ > std::int64_t{kMaxNodes} * 100) {
        why = "grid sizes " + std::to_string(nx_) + " x " + std::to_string(nT_) + " refused";
        return false;
    }
    x0 = stream.get<double>();
    x1 = stream.get<double>();
    T0 = stream.get<double>();
    T1 = stream.get<double>();
    const auto fields = stream.get<std::int32_t>();
    if (fields != kFieldCount) {
        why = std::to_string(fields) + " fields, not " + std::to_string(kFieldCount);
        return false;
    }
    resize(nx_, nT_);
    for (auto& f : values) stream.read(f.data(), f.size());
    stream.read(mu.data(), mu.size());
    stream.read(lambda.data(), lambda.size());
    why = check();
    if (!why.empty()) {
        *this = sc_gas_table{};
        return false;
    }
    prepare();
    return true;
}

// ---- the file -----------------------------------------------------------------------------------

bool write_sc_gas_file(const fs::path& path, const sc_gas_table& table, std::string* why) {
    const std::string problem = table.check();
    if (!problem.empty()) {
        if (why != nullptr) *why = "the table is not usable: " + problem;
        return false;
    }
    return mp::tables::write_checksummed_file(
        path,
        [&](C_file_io& stream) {
            stream.put(kScFileMagic);
            stream.put(kScFileVersion);
            table.write(stream);
        },
        why);
}

const char* to_text(sc_file_status status) noexcept {
    switch (status) {
        case sc_file_status::ok: return "ok";
        case sc_file_status::cannot_open: return "cannot open the file";
        case sc_file_status::truncated: return "the file ends inside its record";
        case sc_file_status::not_a_table: return "not a single-component gas table file of this version";
        case sc_file_status::bad_record: return "the table record is refused";
        case sc_file_status::bad_checksum: return "the checksum does not match (or is missing)";
    }
    return "unknown status";
}

sc_file_status read_sc_gas_table(C_file_io& stream, sc_gas_table& table, std::string& why) {
    sc_file_status status = sc_file_status::ok;
    try {
        const std::uint64_t size = mp::tables::stream_size(stream);
        stream.seek(0, seek_origin::begin);
        const auto magic = stream.get<std::int32_t>();
        const auto version = stream.get<std::int32_t>();
        if (magic != kScFileMagic || version != kScFileVersion) {
            why = "magic " + std::to_string(magic) + ", version " + std::to_string(version);
            status = sc_file_status::not_a_table;
        } else if (!table.read(stream, why)) {
            status = sc_file_status::bad_record;
        } else {
            const std::uint64_t end = stream.tell();
            const auto t = mp::tables::find_checksum_trailer(stream, size, end);
            if (!t.present || !t.consistent || t.covered != end || mp::tables::crc_of_prefix(stream, t.covered) != t.crc) {
                why = !t.present ? "no checksum trailer after the record" : "the checksum does not match the content";
                status = sc_file_status::bad_checksum;
            }
        }
    } catch (const std::exception& e) {
        why = e.what();
        status = sc_file_status::truncated;
    }
    if (status != sc_file_status::ok) table = sc_gas_table{};
    return status;
}

sc_file_status read_sc_gas_file(const fs::path& path, sc_gas_table& table, std::string& why) {
    try {
        C_file_io stream;
        try {
            stream.open(CHostString(path.u16string()), CHostString(u"rb"));
        } catch (const std::exception& e) {
            why = e.what();
            table = sc_gas_table{};
            return sc_file_status::cannot_open;
        }
        const sc_file_status status = read_sc_gas_table(stream, table, why);
        stream.close();
        return status;
    } catch (const std::exception& e) {
        why = e.what();
        table = sc_gas_table{};
        return sc_file_status::cannot_open;
    }
}

// ---- transport ----------------------------------------------------------------------------------

double chung_dilute_viscosity(double T, double Tc, double pc, double Zc, double omega, double M) noexcept {
    // Units of the method: mu in micropoise, M in g/mol, Vc in cm3/mol.
    constexpr double kR = 83.14462618;  // bar cm3/(mol K)
    const double Vc = Zc * kR * Tc / (pc * 1e-5);
    const double Ts = 1.2593 * T / Tc;
    // Neufeld, Janzen and Aziz (1972): the collision integral of the Lennard-Jones potential.
    const double omega_v = 1.16145 * std::pow(Ts, -0.14874) + 0.52487 * std::exp(-0.77320 * Ts) +
                           2.16178 * std::exp(-2.43787 * Ts);
    const double Fc = 1.0 - 0.2756 * omega;
    const double micropoise = 40.785 * Fc * std::sqrt(M * 1e3 * T) / (std::pow(Vc, 2.0 / 3.0) * omega_v);
    return micropoise * 1e-7;
}

double eucken_conductivity(double mu, double cv0, double R) noexcept { return mu * (1.32 * cv0 + 1.77 * R); }

}  // namespace mp::single_component
