#include "zarnic/conf/autoprepend.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

#include "conf/assertion.h"
#include "zarnic/conf/diagnostics.h"
#include "zarnic/conf/read_configuration.h"

namespace {

constexpr const char* conf_path = "/etc/zrc/zrc.conf";
constexpr const char* autoprepend_source = "conf/autoprepend.cpp";

// Index 0 and the last one are sentinels; the two arrays are parallel. The names of the arrays
// stand in the texts of the assertions below, so even the misspelt one stays as it is.
constexpr const char* theZrcConfArray[] = {
    "_MIN_POSSIBLE_ZRC_CONF_VAR_NAME",
    "ZARNIC_MAILNAMES_D",
    "COURIER_IMAP_ROOT_D",
    "RBLSMTPD",
    "CGI_PHP_BIN",
    "CLIENT_PHP_BIN",
    "LIB_CRYPTO_PATH",
    "LIB_SSL_PATH",
    "AWSTATS_DOC_D",
    "AWSTATS_TOOLS_D",
    "AWSTATS_BIN_D",
    "AWSTATS_ETC_D",
    "CATALINA_HOME",
    "MAILMAN_VAR_D",
    "MAILMAN_ROOT_D",
    "PGSQL_DATA_D",
    "PGSQL_BIN_D",
    "MYSQL_BIN_D",
    "MYSQL_VAR_D",
    "LOGROTATE",
    "WEB_STAT",
    "DUMP_D",
    "NAMED_RUN_ROOT_D",
    "FTPD_CONF_INC",
    "HTTPD_SERVICE",
    "HTTPD_LOG_D",
    "HTTPD_INCLUDE_D",
    "HTTPD_CONF_D",
    "HTTPD_VHOSTS_D",
    "PRODUCT_ROOT_D",
    "NAMED_OPTIONS_CONF",
    "NAMED_ZONES_CONF",
    "_MAX_POSSIBLE_ZRC_CONF_VAR_NAME",
};

constexpr const char* theZrcConfDefauls[] = {
    "_MIN_POSSIBLE_ZRC_CONF_VAR_VALUE",
    "/var/qmail/mailnames",
    "/",
    "/usr/sbin/rblsmtpd",
    "dynamic",
    "/usr/local/zrc/bin/php-cli",
    "/lib/libcrypto.so",
    "/lib/libssl.so",
    "/usr/share/apache2/icons/awstats",
    "/usr/share/awstats",
    "/srv/www/cgi-bin/awstats",
    "/etc/awstats",
    "/usr/share/tomcat55",
    "/var/lib/mailman",
    "/usr/lib/mailman",
    "/var/lib/pgsql/data",
    "/usr/bin",
    "/usr/bin",
    "/var/lib/mysql",
    "/usr/local/zrc/logrotate/sbin/logrotate",
    "/usr/bin/webalizer",
    "/var/lib/zrc/dumps",
    "/var/lib/named",
    "/etc/proftpd.include",
    "apache2",
    "/var/log/apache2",
    "/etc/apache2/conf.d",
    "/etc/apache2",
    "/srv/www/vhosts",
    "/usr/local/zrc",
    "/etc/named.conf.include.zarnic-options",
    "/etc/named.conf.include.zarnic-zones",
    "_MAX_POSSIBLE_ZRC_CONF_VAR_VALUE",
};

constexpr int last_variable = ZRC_CONF_END - 1;

static_assert(std::size(theZrcConfArray) == ZRC_CONF_END + 1);
static_assert(std::size(theZrcConfDefauls) == ZRC_CONF_END + 1);

// Null until a value is found; never cleared again.
const char* theZrcConfCache[std::size(theZrcConfArray)];
conf_table* loaded_table = nullptr;

bool is_variable(int index) { return index > 0 && index <= last_variable; }

// The value of a valid index: from the cache, or from the file and then kept in the cache. A
// default is never kept there: it would hide a file that appears later, and zrcConfGetByIndex
// would return it.
const char* find_value(int index) {
    if (theZrcConfCache[index] == nullptr && zrcConfInit() == 0) {
        theZrcConfCache[index] = conf_get_r(theZrcConfArray[index], loaded_table);
    }
    return theZrcConfCache[index];
}

}  // namespace

int zrcConfInit() {
    if (loaded_table != nullptr) {
        return 0;
    }
    // From the heap, because conf_free_r frees the structure too; zeroed, as the reader wants
    // it.
    auto* const table = static_cast<conf_table*>(std::calloc(1, sizeof(conf_table)));
    if (table == nullptr) {
        report_error(0, 1,
                     "Not enough memory to allocate Zarnic runtime configuration structure\n");
        return -1;
    }
    if (conf_read_file_r(conf_path, table) != 0) {
        conf_free_r(table);  // keeps the read's errno: free(3) of glibc does since 2.33
        return -1;
    }
    // Only a complete table is kept, and never freed: callers hold strings of it.
    loaded_table = table;
    return 0;
}

const char* zrcConfGet(const char* name) {
    return zrcConfInit() == 0 ? conf_get_r(name, loaded_table) : nullptr;
}

const char* zrcConfGetByIndex(int index) {
    CONF_ASSERT(is_variable(index),
                "i > 0 && i <= (sizeof(theZrcConfArray) / sizeof(theZrcConfArray[0]) - 2)",
                autoprepend_source);
    return find_value(index);
}

const char* zrcConfGetDefaultByIndex(int index) {
    CONF_ASSERT(is_variable(index),
                "i > 0 && i <= (sizeof(theZrcConfDefauls) / sizeof(theZrcConfDefauls[0]) - 2)",
                autoprepend_source);
    const char* const value = find_value(index);
    return value != nullptr ? value : theZrcConfDefauls[index];
}

const char* zrcConfGetDefault(const char* name) {
    CONF_ASSERT(name != nullptr, "((void *)0) != name", autoprepend_source);
    // Deliberate: the lower sentinel takes part, and meets the assertion on its index. The
    // upper one does not: its name is unknown like any other.
    for (int index = 0; index <= last_variable; ++index) {
        if (std::strcmp(name, theZrcConfArray[index]) == 0) {
            return zrcConfGetDefaultByIndex(index);
        }
    }
    report_error(0, 1, "variable '%s' isn't found neither in %s nor in compile-time defaults\n",
                 name, conf_path);
    return nullptr;
}
