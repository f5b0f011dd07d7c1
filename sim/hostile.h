#ifndef ZULSTATS_SIM_HOSTILE_H
#define ZULSTATS_SIM_HOSTILE_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fault.h"

namespace gatewaysim {

// A daemon that means harm or is broken: a name for some faults, with what a client of the library may expect of it.
struct HostileBehaviour {
    std::string name;
    std::string exchange;     // the one that it strikes
    std::string queries;      // those that meet it: all, ids, statistics, groups (the resource groups alone) or none
    std::string openCodes;    // of the opening function, any of these
    std::string queryCodes;   // of a query; empty where no connection comes about
    std::string connection;   // after the query: kept, removed, either; or never-opened
    std::string ending;       // by-itself; by-close: when another thread closes; by-daemon: when the daemon ends
    std::string faults;       // separated by blanks
    std::string explanation;  // one line
};

// In the order of the list, without a name twice.
std::vector<HostileBehaviour> hostileBehaviours();

// Nothing for an unknown name.
std::optional<std::vector<Fault>> faultsOfBehaviour(std::string_view name);

// A line each: the name and the explanation.
std::string hostileListForReading();

// A line of column names and a line each, all columns, separated by tabulators.
std::string hostileListForPrograms();

}  // namespace gatewaysim

#endif
