// Surface displacement of a finite rectangular dislocation in a homogeneous elastic half-space
// (Okada, Y., 1985: Surface deformation due to shear and tensile faults in a half-space.
// Bull. Seismol. Soc. Am. 75(4), 1135-1154), for a Poisson solid (lambda = mu), and the
// seafloor's effective uplift with the horizontal-motion term of Tanioka and Satake (1996,
// Geophys. Res. Lett. 23(8), 861-864).
#pragma once

namespace kaitoro {

struct OkadaDisplacement {
    double ux = 0, uy = 0, uz = 0;
};

// Okada's own frame: x along strike, z up, the fault dips towards -y. Its lower edge runs from
// (0, 0, -depth) to (length, 0, -depth) and it rises up-dip for `width` at `dip_deg` (0 < dip
// <= 90). u1, u2, u3 are the strike-slip (left-lateral positive), dip-slip (reverse positive)
// and tensile components. Lengths in one unit (km), displacements in the unit of u (m).
OkadaDisplacement okada_surface_displacement(double x, double y, double depth, double dip_deg,
                                             double length, double width, double u1, double u2,
                                             double u3);

// A subfault as a fault table gives it, with its position resolved to the centroid.
struct OkadaFault {
    double lat_deg = 0, lon_deg = 0;  // the centroid's surface projection
    double depth_km = 0;              // centroid depth
    double strike_deg = 0, dip_deg = 0, rake_deg = 0;
    double length_km = 0, width_km = 0, slip_m = 0;
};

// Displacement (east, north, up, in metres) at a surface point given in degrees, from a local
// Cartesian frame centred on the fault (equirectangular about the centroid, which is exact to
// well under a percent over the few hundred kilometres a subfault's field reaches).
void okada_fault_displacement_enu(const OkadaFault& f, double lat_deg, double lon_deg,
                                  double* ue, double* un, double* uz);

// How far (km, from the centroid's surface projection) a fault's field is evaluated: beyond it
// the uplift has fallen below about 1/1000 of its peak.
double okada_fault_reach_km(const OkadaFault& f);

}  // namespace kaitoro
