// The panel slot numbers of the platform's riser and M.2 slot numbering.
#include "translate/translator.hpp"
