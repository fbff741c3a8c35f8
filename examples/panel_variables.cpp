// Reads variables of the panel's configuration, /etc/zrc/zrc.conf.

#include <zarnic/conf/autoprepend.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

int main() {
    // Not necessary: the first use loads the file. This is how to learn why it cannot be read.
    if (zrcConfInit() != 0) {
        std::printf("defaults only: %s\n", std::strerror(errno));
    }

    // The 31 variables of the panel have defaults, so there always is a value.
    std::printf("PRODUCT_ROOT_D %s\n", zrcConfGetDefaultByIndex(ZRC_CONF_PRODUCT_ROOT_D));
    std::printf("DUMP_D %s\n", zrcConfGetDefault("DUMP_D"));

    // Any other name has a value in the file or none.
    const char* const site = zrcConfGet("SITE_NAME");
    std::printf("SITE_NAME %s\n", site == nullptr ? "(none)" : site);

    // Whether the file has a value, or the default is at work.
    const bool is_default = zrcConfGetByIndex(ZRC_CONF_DUMP_D) == nullptr;
    std::printf("DUMP_D is %s\n", is_default ? "the default" : "the file's");
}
