// The panel's runtime configuration: the variables of /etc/zrc/zrc.conf, with a compile-time
// default for each of the 31 that the panel defines.
//
//   const char* root = zrcConfGetDefaultByIndex(ZRC_CONF_PRODUCT_ROOT_D);  // never null
//   const char* dumps = zrcConfGetDefault("DUMP_D");                        // by name
//   const char* other = zrcConfGet("SITE_SPECIFIC");                        // the file only
//
// The file is loaded at the first use and then kept until the process ends: a later change of
// it is not seen. A load that failed is tried again by the next operation. Returned strings
// belong to the module and stay valid until the process ends. The state is global and unlocked:
// one thread only.
//
// The name of this header has no meaning of its own; assertions report that of its source.

#pragma once

// The indexes of the 31 variables, each named after its variable.
enum zrc_conf_variable : int {
    ZRC_CONF_ZARNIC_MAILNAMES_D = 1,
    ZRC_CONF_COURIER_IMAP_ROOT_D,
    ZRC_CONF_RBLSMTPD,
    ZRC_CONF_CGI_PHP_BIN,
    ZRC_CONF_CLIENT_PHP_BIN,
    ZRC_CONF_LIB_CRYPTO_PATH,
    ZRC_CONF_LIB_SSL_PATH,
    ZRC_CONF_AWSTATS_DOC_D,
    ZRC_CONF_AWSTATS_TOOLS_D,
    ZRC_CONF_AWSTATS_BIN_D,
    ZRC_CONF_AWSTATS_ETC_D,
    ZRC_CONF_CATALINA_HOME,
    ZRC_CONF_MAILMAN_VAR_D,
    ZRC_CONF_MAILMAN_ROOT_D,
    ZRC_CONF_PGSQL_DATA_D,
    ZRC_CONF_PGSQL_BIN_D,
    ZRC_CONF_MYSQL_BIN_D,
    ZRC_CONF_MYSQL_VAR_D,
    ZRC_CONF_LOGROTATE,
    ZRC_CONF_WEB_STAT,
    ZRC_CONF_DUMP_D,
    ZRC_CONF_NAMED_RUN_ROOT_D,
    ZRC_CONF_FTPD_CONF_INC,
    ZRC_CONF_HTTPD_SERVICE,
    ZRC_CONF_HTTPD_LOG_D,
    ZRC_CONF_HTTPD_INCLUDE_D,
    ZRC_CONF_HTTPD_CONF_D,
    ZRC_CONF_HTTPD_VHOSTS_D,
    ZRC_CONF_PRODUCT_ROOT_D,
    ZRC_CONF_NAMED_OPTIONS_CONF,
    ZRC_CONF_NAMED_ZONES_CONF,
    ZRC_CONF_END,  // no variable: one more than the last index
};

// Loads the file. Returns 0 when it is loaded, now or earlier, and -1 with errno set when it
// cannot be. A lack of memory for the table itself is reported by report_error, to both
// standard streams. All other failures are the reader's, which reports to the message channel:
// silent at first (diagnostics.h).
int zrcConfInit();

// The file's value of any name, which must not be null; null when there is none.
const char* zrcConfGet(const char* name);

// The file's value of a variable by its index, or null. An index other than 1 to 31 is an
// assertion failure.
const char* zrcConfGetByIndex(int index);

// The same, but the variable's default where the file has no value or cannot be read; never
// null.
const char* zrcConfGetDefaultByIndex(int index);

// The same by name. A name that is not among the 31 is reported through report_error and gives
// null, even if the file defines it. A null name is an assertion failure, and so is the lower
// sentinel, "_MIN_POSSIBLE_ZRC_CONF_VAR_NAME": its index is 0.
const char* zrcConfGetDefault(const char* name);
