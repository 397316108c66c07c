// What the library shares between threads: the memory-watcher proxy created on first use, pooled
// allocations reported from many threads, the log, the real-gas table patches made on first
// lookup, the built-in equilibrium-air tables read on first use, and the built-in media of every
// fluid kind shared by many threads (a real gas whose table patches fill while it is used among them). Built alone
// under ThreadSanitizer (without OpenMP, whose runtime it cannot see).
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "tables/c_2d_property.h"
#include "hypersonic/c_hypersonic_gas_thermodynamics.h"
#include "hypersonic/hypersonic_tables.h"
#include "factory/c_medium_physics.h"
#include "factory/c_memory_pool.h"
#include "medium_physics/standalone_host.h"
#include "factory/mp_log.h"
#include "factory/mp_settings.h"
#include "real_gas/rg_analytic_generator.h"

namespace {
constexpr int kThreads = 8;
}

TEST(Concurrency, WatcherProxyIsCreatedOnceUnderRace) {
    std::atomic<int> ready{0};
    std::vector<const mp::CMemoryWatcherProxy*> seen(kThreads, nullptr);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
            ready.fetch_add(1);
            while (ready.load() < kThreads) {
            }
            seen[static_cast<std::size_t>(i)] = &mp::CMemoryWatcherProxy::instance();
        });
    for (auto& t : threads) t.join();
    for (const auto* p : seen) EXPECT_EQ(p, seen[0]);
    EXPECT_TRUE(seen[0]->has_watcher());
}

TEST(Concurrency, PooledAllocationsFromManyThreadsBalanceTheBooks) {
    const std::int32_t saved = mp::memory_watch_mode();
    mp::set_memory_watch_mode(1);
    const std::uint64_t before = standalone_host::memory_live_bytes();
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([i] {
            for (int k = 0; k < 200; ++k) {
                mp::pooled_array<double> a;
                ASSERT_TRUE(a.allocate(static_cast<std::size_t>(16 + k), {"tests/test_concurrency", 30 + i}));
                a[0] = 1.0;
            }
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(standalone_host::memory_live_bytes(), before);
    mp::set_memory_watch_mode(saved);
}

TEST(Concurrency, LogLinesFromManyThreadsAllArriveWhole) {
    standalone_host::log_capture cap;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([i] {
            for (int k = 0; k < 100; ++k)
                mp::log_line(nullptr, mp::line_kind::warning, "Warning : MediumPhysics: %s(%d): thread %d\n",
                             "tests/test_concurrency", k, i);
        });
    for (auto& t : threads) t.join();
    const auto lines = cap.lines();
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(kThreads * 100));
    for (const auto& l : lines) EXPECT_EQ(l.text.back(), '\n');
}

TEST(Concurrency, OneGasMediumServesManyThreadsIdentically) {
    std::shared_ptr<I_medium_physics> factory;
    ASSERT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
    standalone_host::material_library library;
    library.add_text(R"({"materials": [
      {"name": "A", "identifier": "D0000000-0000-4000-8000-000000000001", "kind": "ideal_gas", "molar_mass": 0.028,
       "gamma": 1.4, "cp": {"constant": 0, "table": {"T": [200, 1000, 3000, 6000], "value": [1000, 1150, 1300, 1350]}},
       "viscosity": {"constant": 1.8e-5}, "conductivity": {"constant": 0.026}},
      {"name": "B", "identifier": "D0000000-0000-4000-8000-000000000002", "kind": "ideal_gas", "molar_mass": 0.044,
       "gamma": 1.3, "cp": {"constant": 0, "table": {"T": [200, 6000], "value": [800, 1400]}},
       "viscosity": {"constant": 1.5e-5}, "conductivity": {"constant": 0.017}}],
      "media": [{"name": "AB", "kind": "ideal_gas", "substances": ["A", "B"], "mass_fractions": [0.6, 0.4]}]})",
                     "test");
    fluid_ptr medium;
    ASSERT_EQ(standalone_host::create_medium(*factory, library, *library.find_medium("AB"), true, medium), 0);
    std::any request = std::shared_ptr<I_solver__thermodynamics_P_H>();
    ASSERT_EQ(medium->query_interface(request), 0);
    const auto m = std::any_cast<std::shared_ptr<I_solver__thermodynamics_P_H>>(request);
    const double Y[2] = {0.6, 0.4};
    constexpr int kStates = 400;
    const auto solve = [&](int k, double* out) {
        const double H = 2e5 + 1.5e4 * k;
        m->get_properties_p_H(H, 1e5, Y, 2e3, 300.0, &out[0], &out[1], &out[2], &out[3], &out[4], &out[5], &out[6],
                              &out[7], &out[8]);
    };
    std::vector<double> reference(kStates * 9);
    for (int k = 0; k < kStates; ++k) solve(k, &reference[static_cast<std::size_t>(k) * 9]);
    std::vector<std::vector<double>> results(kThreads, std::vector<double>(kStates * 9));
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
            // Each thread walks the states in its own order.
            for (int j = 0; j < kStates; ++j) {
                const int k = (j * 7 + i * 13) % kStates;
                solve(k, &results[static_cast<std::size_t>(i)][static_cast<std::size_t>(k) * 9]);
            }
        });
    for (auto& t : threads) t.join();
    for (const auto& r : results) EXPECT_EQ(r, reference);
}

// Many threads look up the same empty patches at once: every patch is filled exactly once (one
// fill asks the generator for the centre and the 101 x 101 nodes), and every thread reads the
// same values.
TEST(Concurrency, RealGasPatchesAreFilledOnceUnderRace) {
    auto g = std::make_shared<analytic_generator>();
    g->curvature = 0.25;
    C_2d_RG_property_regular table(g, 10.0, 20.0, 200.0, 400.0);
    constexpr int kPoints = 64;
    std::vector<std::vector<double>> seen(kThreads);
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
            ready.fetch_add(1);
            while (ready.load() < kThreads) {
            }
            auto& mine = seen[static_cast<std::size_t>(i)];
            // the points lie in 16 patches; each thread walks them in its own order
            for (int n = 0; n < kPoints; ++n) {
                const int k = (n + 7 * i) % kPoints;
                double out[4];
                table.lookup(10.3 + 0.6 * (k % 16), 205.0 + 3.0 * (k / 4), out);
                mine.push_back(out[0]);
                mine.push_back(out[3]);
            }
            std::vector<double> ordered(mine.size());
            for (int n = 0; n < kPoints; ++n) {
                const int k = (n + 7 * i) % kPoints;
                ordered[static_cast<std::size_t>(2 * k)] = mine[static_cast<std::size_t>(2 * n)];
                ordered[static_cast<std::size_t>(2 * k + 1)] = mine[static_cast<std::size_t>(2 * n + 1)];
            }
            mine.swap(ordered);
        });
    for (auto& t : threads) t.join();
    const std::int32_t filled = table.patches_filled();
    EXPECT_EQ(g->calls.load(), static_cast<std::int64_t>(filled) * (1 + 101 * 101));
    for (int i = 1; i < kThreads; ++i) EXPECT_EQ(seen[static_cast<std::size_t>(i)], seen[0]) << i;
}

TEST(Concurrency, BuiltInEquilibriumAirTablesAreReadOnceAndAnswerAlike) {
    // Every thread asks for the tables at once (the first use reads them) and then queries them.
    std::atomic<int> ready{0};
    std::vector<const mp::hypersonic::table_set*> seen(kThreads, nullptr);
    std::vector<std::vector<double>> answers(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
            ready.fetch_add(1);
            while (ready.load() < kThreads) {
            }
            const auto tables = mp::hypersonic::builtin_tables();
            seen[std::size_t(i)] = tables.get();
            if (!tables) return;
            auto gas = std::make_shared<C_hypersonic_gas_substance>();
            if (!gas->init(host_guid{}, CHostString(u"air"), tables, nullptr)) return;
            const auto medium = C_hypersonic_gas_thermodynamics::create(gas);
            for (int k = 0; k < 200; ++k) {
                double p, T, cp, gamma, M, a, mu, lambda;
                medium->get_properties_rho_e(1e5 * (k + 1), 1e-4 * (k + 1), nullptr, 0.0, &p, &T, &cp, &gamma, &M, &a,
                                             &mu, &lambda);
                answers[std::size_t(i)].push_back(p + T);
            }
        });
    for (auto& t : threads) t.join();
    ASSERT_NE(seen[0], nullptr);
    for (int i = 1; i < kThreads; ++i) {
        EXPECT_EQ(seen[std::size_t(i)], seen[0]);
        EXPECT_EQ(answers[std::size_t(i)], answers[0]);
    }
}

// Every built-in medium of these kinds serves many threads at once and answers each state as a
// medium used by one thread alone does: the liquids' one-pass enthalpy iteration, the cavitating
// liquid, the VOF mixture asking its phases, the single-component gas table, and the real gas
// with phase change, whose table patches fill on first lookup while the threads race into them.
TEST(Concurrency, BuiltInMediaServeManyThreadsAsOne) {
    standalone_host::material_library library;
    library.add_directory(std::string(MP_SOURCE_DIR) + "/data/materials");
    const auto make = [&](const char* name) {
        std::shared_ptr<I_medium_physics> factory;
        EXPECT_EQ(create_medium_physics(factory, std::make_shared<standalone_host::CStandaloneHost>()), MP_STATUS_OK);
        fluid_ptr medium;
        std::string why;
        EXPECT_EQ(standalone_host::create_medium(*factory, library, *library.find_medium(name), false, medium, &why), 0)
            << name << ": " << why;
        std::any request = std::shared_ptr<I_solver__thermodynamics_P_H>();
        EXPECT_EQ(medium->query_interface(request), 0) << name;
        return std::make_pair(factory, std::any_cast<std::shared_ptr<I_solver__thermodynamics_P_H>>(request));
    };
    struct medium_case {
        const char* name;
        double p_low, p_high, T_low, T_high;
    };
    const medium_case cases[] = {{"water-glycol", 1e5, 3e6, 280.0, 360.0},
                                 {"water-cavitating", 100.0, 1e6, 293.15, 293.15},
                                 {"air-water-vof", 1e5, 2e5, 285.0, 330.0},
                                 {"CO2-gas", 1e5, 1e6, 330.0, 480.0},
                                 {"CO2-two-phase", 4e6, 8e6, 285.0, 320.0}};
    constexpr int kStates = 60;
    for (const auto& c : cases) {
        const auto def = library.find_medium(c.name);
        ASSERT_TRUE(def.has_value()) << c.name;
        const std::vector<double> Y = def->mass_fractions;
        const auto state = [&](int k) {
            return std::make_pair(c.p_low + (c.p_high - c.p_low) * ((k * 37) % kStates) / kStates,
                                  c.T_low + (c.T_high - c.T_low) * ((k * 11) % kStates) / kStates);
        };
        // Each state's p_T answer and the enthalpy inverted back from it.
        const auto solve = [&](const I_solver__thermodynamics_P_H& m, int k, double* out) {
            const auto [p, T] = state(k);
            m.get_properties_p_T(p, T, Y.data(), &out[0], &out[1], &out[2], &out[3], &out[4], &out[5], &out[6],
                                 &out[7]);
            double r[9];
            m.get_properties_p_H(out[1], p, Y.data(), 0.0, T + 2.0, &r[0], &r[1], &r[2], &r[3], &r[4], &r[5], &r[6],
                                 &r[7], &r[8]);
            out[8] = r[1];
        };
        auto [serial_factory, serial] = make(c.name);
        std::vector<double> expected(kStates * 9);
        for (int k = 0; k < kStates; ++k) solve(*serial, k, &expected[static_cast<std::size_t>(k) * 9]);
        auto [shared_factory, shared] = make(c.name);
        std::vector<std::vector<double>> got(kThreads, std::vector<double>(kStates * 9));
        std::atomic<int> ready{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i)
            threads.emplace_back([&, i] {
                ready.fetch_add(1);
                while (ready.load() < kThreads) {}
                for (int j = 0; j < kStates; ++j) {
                    const int k = (j + 7 * i) % kStates;
                    solve(*shared, k, &got[static_cast<std::size_t>(i)][static_cast<std::size_t>(k) * 9]);
                }
            });
        for (auto& t : threads) t.join();
        for (int i = 0; i < kThreads; ++i) EXPECT_EQ(got[static_cast<std::size_t>(i)], expected) << c.name << " " << i;
    }
}
