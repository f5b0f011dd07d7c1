#ifndef ZULSTATS_SIM_DERIVATION_H
#define ZULSTATS_SIM_DERIVATION_H

#include "catalogue.h"

namespace gatewaysim {

// Looks at the statistics that are made of others: throws BadCatalogue where one is made of something that is no
// number, has no rate, leads back to it or goes too deep. Gives each sum the decimals of its operands.
void completeDerivations(Catalogue& catalogue);

}  // namespace gatewaysim

#endif
