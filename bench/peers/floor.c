// The floor of the two commands that start programs: the same system calls in the same order as
// the manager makes them, written out by hand, with no parsing, no library and no error text.
//
//   floor status PIDFILE             says whether the pid file has any text, read through cat
//   floor start PIDFILE PROGRAM      starts a program detached, as a daemon
//   floor installed FILE             says whether a file is there

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

static const char* const configuration = "/etc/zrc/zrc.conf";

static int say(const char* text) {
    return write(STDOUT_FILENO, text, strlen(text)) < 0 ? 1 : 0;
}

static void become_cat(const char* path, const int ends[2]) {
    char* const arguments[] = {(char*)"cat", (char*)path, NULL};
    close(STDOUT_FILENO);
    close(ends[0]);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
    execvp("cat", arguments);
    _exit(127);
}

// The number of bytes that cat prints, or -1.
static long count_text(const char* path) {
    char chunk[1024];
    int ends[2];
    int status = 0;
    long total = 0;
    if (pipe(ends) != 0) {
        return -1;
    }
    const pid_t child = fork();
    if (child == 0) {
        become_cat(path, ends);
    }
    close(ends[1]);
    for (ssize_t got; (got = read(ends[0], chunk, sizeof chunk)) > 0;) {
        total += got;
    }
    if (child < 0 || waitpid(child, &status, WUNTRACED) < 0 || status != 0) {
        return -1;
    }
    return total;
}

static long pid_file_text(const char* path) {
    struct stat status;
    return stat(path, &status) == 0 ? count_text(path) : 0;
}

static void leave_to_child(void) {
    if (fork() != 0) {
        exit(0);
    }
}

static void run(char* program) {
    char* const arguments[] = {program, NULL};
    int status = 0;
    const pid_t child = fork();
    if (child == 0) {
        execvp(program, arguments);
        _exit(127);
    }
    waitpid(child, &status, WUNTRACED);
}

static int start(const char* pid_file, char* program) {
    struct sigaction ignore;
    if (pid_file_text(pid_file) != 0) {
        return 1;
    }
    leave_to_child();
    setsid();
    memset(&ignore, 0, sizeof ignore);
    ignore.sa_handler = SIG_IGN;
    ignore.sa_flags = SA_RESTART;
    sigaction(SIGHUP, &ignore, NULL);
    leave_to_child();
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDIN_FILENO);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    close(null);
    run(program);
    return 0;
}

int main(int argc, char** argv) {
    struct stat status;
    const int opened = open(configuration, O_RDONLY);
    if (opened >= 0) {
        close(opened);
    }
    if (argc == 3 && strcmp(argv[1], "status") == 0) {
        return pid_file_text(argv[2]) > 0 ? say("Service is started\n") : 1;
    }
    if (argc == 4 && strcmp(argv[1], "start") == 0) {
        return start(argv[2], argv[3]);
    }
    if (argc == 3 && strcmp(argv[1], "installed") == 0) {
        return stat(argv[2], &status) == 0 ? say("Server is installed\n") : 1;
    }
    return 2;
}
