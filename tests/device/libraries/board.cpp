#include "platform/board.h"

pellow_dev_type get_pellow_dev_type_as_enum() {
    return PELLOW_DEV_ROUTER;
}

const char *pellow_dev_type_enum_to_string(pellow_dev_type) {
    return "stand-in";
}
