#include "single_component/c_single_component_gas_substance.h"

#include <algorithm>
#include <cmath>

#include "factory/mp_log.h"
#include "file_io/c_file_io/c_file_io.h"
#include "medium_physics/description.h"
#include "real_gas/c_real_gas_substance.h"
#include "real_gas/crgpropertygenerator.h"
#include "single_component/sc_gas_builder.h"

using mp::single_component::sc_gas_table;

void C_single_component_gas_substance::prepare() noexcept {
    const sc_gas_table& t = *m_table;
    const double v = t.R * kReferenceTemperature / kReferencePressure;
    m_reference_volume = std::clamp(v, std::exp(t.x0), std::exp(t.x1));
}

bool C_single_component_gas_substance::init(std::shared_ptr<const sc_gas_table> table, IHostMessageSink* sink) {
    // a checked table whose node-by-node copy is made (prepare)
    if (!table || !table->check().empty() ||
        table->nodes.size() != table->values[0].size() * mp::single_component::kFieldCount)
        return false;
    C_substance_base::init(table->identifier, table->name, sink);
    m_table = std::move(table);
    prepare();
    return true;
}

bool C_single_component_gas_substance::init(I_real_gas_description& description, IHostMessageSink* sink) {
    if (!init_from_description(description, sink)) return false;
    CRGPropertyGenerator generator;
    rg_substance_parameters parameters;
    if (!configure_rg_generator(description, name(), generator, parameters, sink)) return false;
    auto table = std::make_shared<sc_gas_table>();
    std::string why;
    if (!mp::single_component::build_sc_gas_table(generator, parameters, name(), identity(),
                                                   mp::single_component::grid_for_rectangle(generator, parameters),
                                                   *table, why)) {
        MP_LOG(sink, mp::line_kind::error, "ERROR: MediumPhysics: %s(%d): %s: no single-component gas table: %s\n",
               name().to_utf8().c_str(), why.c_str());
        return false;
    }
    m_table = std::move(table);
    prepare();
    return true;
}

void C_single_component_gas_substance::write(C_file_io& stream) const {
    write_base(stream);
    m_table->write(stream);
}

bool C_single_component_gas_substance::read(C_file_io& stream) {
    if (!read_base(stream)) return false;
    auto table = std::make_shared<sc_gas_table>();
    std::string why;
    if (!table->read(stream, why) || table->identifier != identity()) return false;
    m_table = std::move(table);
    prepare();
    return true;
}
