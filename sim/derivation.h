#ifndef ZULSTATS_SIM_DERIVATION_H
#define ZULSTATS_SIM_DERIVATION_H

#include "catalogue.h"

namespace gatewaysim {

// Looks at the statistics that are made of others: throws BadCatalogue where one is made of something that is no
// number, has no rate, leads back to it, goes too deep or cannot be added up exactly. Gives sums and wholes the
// decimals of their operands.
void completeDerivations(Catalogue& catalogue);

}  // namespace gatewaysim

#endif
