// The 31 variables by index and by name, and the names that are none of them.

#include "zarnic/conf/autoprepend.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <iterator>
#include <string>

#include "tests/support/capture.h"
#include "tests/unit/conf/panel_file.h"

namespace {

using test::answers;
using test::inChild;
using test::show;
using test::writePanelFile;

struct Variable {
    int index;
    zrc_conf_variable constant;
    const char* name;
    const char* value;
};

constexpr Variable variable(int index, zrc_conf_variable constant, const char* name,
                            const char* value) {
    return {index, constant, name, value};
}

#define VARIABLE(index, name, value) variable(index, ZRC_CONF_##name, #name, value)

constexpr Variable variables[] = {
    VARIABLE(1, ZARNIC_MAILNAMES_D, "/var/qmail/mailnames"),
    VARIABLE(2, COURIER_IMAP_ROOT_D, "/"),
    VARIABLE(3, RBLSMTPD, "/usr/sbin/rblsmtpd"),
    VARIABLE(4, CGI_PHP_BIN, "dynamic"),
    VARIABLE(5, CLIENT_PHP_BIN, "/usr/local/zrc/bin/php-cli"),
    VARIABLE(6, LIB_CRYPTO_PATH, "/lib/libcrypto.so"),
    VARIABLE(7, LIB_SSL_PATH, "/lib/libssl.so"),
    VARIABLE(8, AWSTATS_DOC_D, "/usr/share/apache2/icons/awstats"),
    VARIABLE(9, AWSTATS_TOOLS_D, "/usr/share/awstats"),
    VARIABLE(10, AWSTATS_BIN_D, "/srv/www/cgi-bin/awstats"),
    VARIABLE(11, AWSTATS_ETC_D, "/etc/awstats"),
    VARIABLE(12, CATALINA_HOME, "/usr/share/tomcat55"),
    VARIABLE(13, MAILMAN_VAR_D, "/var/lib/mailman"),
    VARIABLE(14, MAILMAN_ROOT_D, "/usr/lib/mailman"),
    VARIABLE(15, PGSQL_DATA_D, "/var/lib/pgsql/data"),
    VARIABLE(16, PGSQL_BIN_D, "/usr/bin"),
    VARIABLE(17, MYSQL_BIN_D, "/usr/bin"),
    VARIABLE(18, MYSQL_VAR_D, "/var/lib/mysql"),
    VARIABLE(19, LOGROTATE, "/usr/local/zrc/logrotate/sbin/logrotate"),
    VARIABLE(20, WEB_STAT, "/usr/bin/webalizer"),
    VARIABLE(21, DUMP_D, "/var/lib/zrc/dumps"),
    VARIABLE(22, NAMED_RUN_ROOT_D, "/var/lib/named"),
    VARIABLE(23, FTPD_CONF_INC, "/etc/proftpd.include"),
    VARIABLE(24, HTTPD_SERVICE, "apache2"),
    VARIABLE(25, HTTPD_LOG_D, "/var/log/apache2"),
    VARIABLE(26, HTTPD_INCLUDE_D, "/etc/apache2/conf.d"),
    VARIABLE(27, HTTPD_CONF_D, "/etc/apache2"),
    VARIABLE(28, HTTPD_VHOSTS_D, "/srv/www/vhosts"),
    VARIABLE(29, PRODUCT_ROOT_D, "/usr/local/zrc"),
    VARIABLE(30, NAMED_OPTIONS_CONF, "/etc/named.conf.include.zarnic-options"),
    VARIABLE(31, NAMED_ZONES_CONF, "/etc/named.conf.include.zarnic-zones"),
};

constexpr const char* lower_sentinel = "_MIN_POSSIBLE_ZRC_CONF_VAR_NAME";
constexpr const char* upper_sentinel = "_MAX_POSSIBLE_ZRC_CONF_VAR_NAME";

static_assert(std::size(variables) == ZRC_CONF_END - 1);

class AutoprependNames : public test::PanelFileTest {};

// Asked twice: a value stays with its index.
void showAll() {
    for (int round = 0; round < 2; ++round) {
        for (const Variable& variable : variables) {
            show(zrcConfGetByIndex(variable.index));
            show(zrcConfGetDefaultByIndex(variable.constant));
            show(zrcConfGetDefault(variable.name));
        }
    }
}

TEST_F(AutoprependNames, EveryIndexAndNameHasTheFilesValueOrElseItsDefault) {
    std::string defaults;
    std::string file;  // values that no other variable has
    std::string values;
    for (const Variable& variable : variables) {
        const std::string value = "file " + std::to_string(variable.index) + "\n";
        defaults += std::string("(null)\n") + variable.value + "\n" + variable.value + "\n";
        file += std::string(variable.name) + " " + value;
        values += value + value + value;
    }
    EXPECT_EQ(answers(showAll), defaults + defaults);
    writePanelFile(file);
    EXPECT_EQ(answers(showAll), values + values);
}

std::string unknown(const std::string& name) {
    return "variable '" + name +
           "' isn't found neither in /etc/zrc/zrc.conf nor in compile-time defaults\n";
}

// The upper sentinel is one of them. The file's value would not be asked for.
TEST_F(AutoprependNames, UnknownNameIsNotSoughtInTheFile) {
    for (const char* name :
         {"SITE_SPECIFIC", upper_sentinel, "", "DUMP", "DUMP_D_", "dump_d", " DUMP_D"}) {
        writePanelFile("SITE_SPECIFIC abc\n" + std::string(upper_sentinel) + " abc\n");
        const auto child = inChild([name] {
            errno = ENOENT;
            show(zrcConfGetDefault(name));
            test::removePanelFile();
            show(zrcConfInit());  // nothing was loaded
        });
        EXPECT_TRUE(child.exited(0));
        EXPECT_EQ(child.err, unknown(name) + "\nSystem error 2: No such file or directory\n");
        EXPECT_EQ(child.out, child.err + "(null)\n-1\n");
    }
}

TEST_F(AutoprependNames, AnyNameCanBeAskedOfTheFileAlone) {
    writePanelFile("SITE_SPECIFIC abc\n" + std::string(lower_sentinel) + " low\n" +
                   upper_sentinel + " high\n");
    EXPECT_EQ(answers([] {
                  for (const char* const name :
                       {"SITE_SPECIFIC", lower_sentinel, upper_sentinel, "ABSENT", "DUMP_D"}) {
                      show(zrcConfGet(name));
                  }
              }),
              "abc\nlow\nhigh\n(null)\n(null)\n");
}

}  // namespace
