// Stands in for the random properties dialog until it is built: the operator never confirms,
// so nothing is written back.
#include "corvane/ui/random_properties_dialog.h"

bool RunRandomPropertiesDialog(RandomSettings& /*working*/) {
    return false;
}
