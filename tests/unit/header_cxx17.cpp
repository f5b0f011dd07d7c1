#include "zulstats64.h"
