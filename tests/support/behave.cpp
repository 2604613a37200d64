// A program that behaves as its arguments say, one after the other: for the process tests.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

namespace {

void behave(const std::string &what, const std::string &value)
{
    int number = int(std::strtol(value.c_str(), nullptr, 10));
    if (what == "out" || what == "err")
        std::fputs(value.c_str(), what == "out" ? stdout : stderr);
    else if (what == "zero" || what == "leader")
        std::putchar(what == "leader" ? '0' + (getpgrp() == getpid()) : 0);
    else if (what == "mebibytes")
        for (const std::string block(1048576, 'x'); number > 0; --number)
            for (std::FILE *file : {stdout, stderr})
                std::fputs(block.c_str(), file);
    else if (what == "readinput")
        std::printf("%d", std::getchar());
    else if (what == "sleeper") {
        // A child that keeps the outputs open and never ends by itself; its number is told.
        const pid_t child = fork();
        setpgid(child, value == "owngroup" ? child : getpgrp());
        child == 0 ? pause() : std::printf("%d", child);
    } else if (what == "ignoreterm")
        std::signal(SIGTERM, SIG_IGN);
    else if (what == "tellterm")
        std::signal(SIGTERM, [](int) { ::kill(getppid(), SIGUSR1); });
    else if (what == "becomeroot") {
        // From then on the user who started it cannot send it a signal.
        if (setresuid(0, 0, 0) == 0)
            std::printf("%d", getpid());
    } else if (what == "sleep")
        sleep(unsigned(number));
    else if (what == "signal")
        std::raise(number);
    else if (what == "exit")
        std::exit(number);
    std::fflush(stdout);
}

} // namespace

/// Each argument is "BEHAVIOUR" or "BEHAVIOUR=VALUE".
int main(int count, char **arguments)
{
    for (int i = 1; i < count; ++i) {
        char *value = arguments[i];
        const char *what = strsep(&value, "=");
        behave(what, value == nullptr ? "" : value);
    }
}
