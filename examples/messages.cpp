// Messages of the configuration module: to the console, and to the system log.

#include <syslog.h>
#include <zarnic/conf/autoprepend.h>
#include <zarnic/conf/diagnostics.h>

#include <cerrno>

int main() {
    // At first they go to the console: to standard error and to standard output. Levels above
    // the threshold of 6, which is LOG_INFO, are not shown.
    message_fn(LOG_WARNING, "a warning of %s", "the caller");
    message_fn(LOG_DEBUG, "nobody sees this");

    // The reader reports at level 12. It ends its lines itself, and the console once more.
    set_log_target("console", 12, LOG_DAEMON, 0, "messages");
    zrcConfInit();

    // No target is the system log; there the level is the priority. LOG_PERROR shows the line
    // on standard error too.
    set_log_target(nullptr, LOG_INFO, LOG_DAEMON, LOG_PERROR, "messages");
    message_fn(LOG_WARNING, "a warning to the log");

    // Errors always go to both standard streams, with the system's reason, if there is one. The
    // first argument would end the program, if it were not 0.
    program_path = "/usr/bin/messages";
    errno = ENOENT;
    report_error(0, 1, "no configuration");
    errno = 0;
    report_error(0, 1, "no reason");
}
