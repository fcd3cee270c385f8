// Recorded tsunami observations, one row per instrument or tide gauge, as the validation table
// holds them. Values the table leaves empty or gives as text (a withdrawn reading) are absent.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kaitoro {

struct Observation {
    std::string event, gauge, type;
    double lat = 0, lon = 0;
    std::optional<double> first_arrival_min, onset25_min, max_m, time_of_max_min;
    std::string max_qualifier;
    int line = 0;
};

// One CSV line split into fields: double quotes group commas and "" is a quote.
std::vector<std::string> csv_fields(const std::string& line);
// Reads the table by its header's column names (event, gauge, type, lat, lon,
// obs_first_arrival_min, obs_onset25_min, obs_max_m, max_qualifier, obs_time_of_max_min). False
// with a reason when the file cannot be read or a column is missing; rows without a usable
// position are listed in `rejected`.
bool observations_load(const char* path, std::vector<Observation>* out,
                       std::vector<std::string>* rejected, std::string* error);

// True when the observation belongs to the event `name`: its event text starts with the name,
// followed by nothing, a space or a parenthesis.
bool observation_matches_event(const Observation& o, const std::string& name);

}  // namespace kaitoro
