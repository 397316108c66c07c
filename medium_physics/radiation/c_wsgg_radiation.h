// The radiation interfaces of a gas mixture that holds CO2 and H2O, answered by the weighted sum of
// gray gases of radiation/wsgg.h. A medium takes this class in place of C_no_radiation and says
// where its absorbers are:
//
//  - at creation (and after Load), find_absorbers() with its substances' names and molar
//    masses finds CO2 and H2O among them (by name and molar mass, see absorber_of);
//  - per call, absorber_mole_fractions() gives their mole fractions at the mass fractions Y (the
//    medium knows its molar masses; a combustible medium on chemistry tables would answer from its
//    table's composition instead);
//  - get_radiation_properties() hands the medium itself out when it holds an absorber.
//
// get_radiation_value is the Planck-mean absorption coefficient in 1/m; get_gray_gases and
// get_emissivity give the gray gases themselves. Nothing is allocated or changed per call.
#pragma once

#include <cstdint>

#include "medium_physics/thermodynamics.h"
#include "radiation/wsgg.h"

class C_wsgg_radiation : public FluidRadProp::I_radiation_properties,
                         public FluidRadProp::I_gray_gas_radiation,
                         public virtual FluidRadProp::IRadPropFunctionality {
public:
    void update_radiation_properties() noexcept override {}
    double get_radiation_value(double p, double T, const double* Y) const noexcept override;
    std::int32_t get_gray_gases(double p, double T, const double* Y, double* k, double* a) const noexcept override;
    double get_emissivity(double p, double T, const double* Y, double L) const noexcept override;

    // The gray gases at (p, T, Y), or the reason there are none.
    mp::radiation::wsgg_status gray_gases_at(double p, double T, const double* Y,
                                             mp::radiation::wsgg_gray_gases& out) const noexcept;
    // Whether the medium holds CO2 or H2O at all.
    bool has_absorbers() const noexcept { return m_h2o >= 0 || m_co2 >= 0; }
    std::int32_t h2o_index() const noexcept { return m_h2o; }
    std::int32_t co2_index() const noexcept { return m_co2; }

protected:
    // Finds CO2 and H2O among the medium's `count` substances: name_of(i) gives substance i's name
    // in UTF-8 (a std::string), molar_mass_of(i) its molar mass in kg/mol; the first of each counts.
    template <class NameOf, class MolarMassOf>
    void find_absorbers(std::int32_t count, NameOf&& name_of, MolarMassOf&& molar_mass_of) {
        m_h2o = -1;
        m_co2 = -1;
        for (std::int32_t i = 0; i < count; ++i) {
            const auto kind = mp::radiation::absorber_of(name_of(i).c_str(), molar_mass_of(i));
            if (kind == mp::radiation::absorber::h2o && m_h2o < 0) m_h2o = i;
            if (kind == mp::radiation::absorber::co2 && m_co2 < 0) m_co2 = i;
        }
    }
    // The mole fraction of substance i at Y.
    virtual double absorber_mole_fraction(const double* Y, std::int32_t i) const noexcept = 0;

private:
    std::int32_t m_h2o = -1;
    std::int32_t m_co2 = -1;
};
