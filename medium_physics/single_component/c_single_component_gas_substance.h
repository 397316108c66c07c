// C_single_component_gas_substance (cache 14): one gas tabulated over specific volume and
// temperature (single_component/sc_gas_table.h), shared by the single-component media that name it.
//
// Built either from the table file "SingleComponentGas.tables" in the host's product directory
// (the factory's operation 16; the identifier is the one the file carries) or from a real-gas
// description (operation 19: the cubic equation of state of the description, tabulated over its
// rectangle: T from its lowest to its highest table temperature, densities from the gas at its
// lowest pressure and highest temperature to the gas at its highest pressure and lowest
// temperature, held below 0.98 of the saturated vapour's density; 81 x 161 nodes).
//
// Record: the common substance record (byte 0, identifier, name), then the table record
// (sc_gas_table::write), so that a saved project answers as it did, whatever file the product
// directory holds later.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "framework/c_substance.h"
#include "single_component/sc_gas_table.h"

class I_real_gas_description;

class C_single_component_gas_substance final : public C_substance_base {
public:
    using description_type = I_real_gas_description;
    // Pa and K: the state whose density the operations that are given none take (clamped into the
    // table).
    static constexpr double kReferencePressure = 101325.0;
    static constexpr double kReferenceTemperature = 298.15;

    C_single_component_gas_substance() = default;

    // Over a checked table: identifier and name are the table's.
    bool init(std::shared_ptr<const mp::single_component::sc_gas_table> table, IHostMessageSink* sink);
    // From a real-gas description (see above). False, with an ERROR line, when the data or the
    // table are refused.
    bool init(I_real_gas_description& description, IHostMessageSink* sink);

    void write(C_file_io& stream) const;
    // False on a refused record; the stream's exceptions propagate.
    bool read(C_file_io& stream);

    const mp::single_component::sc_gas_table& table() const noexcept { return *m_table; }
    // m3/kg: the specific volume of the reference state.
    double reference_volume() const noexcept { return m_reference_volume; }

private:
    void prepare() noexcept;
    std::shared_ptr<const mp::single_component::sc_gas_table> m_table =
        std::make_shared<mp::single_component::sc_gas_table>();
    double m_reference_volume = 1.0;
};
