// A program that forks without exec: each process reports its own instructions (work.h).
//   parent: work(3) before the fork, work(4) after     -> 3 * 7 = 21
//   child:  work(5) (the parent's first 9 are not its) -> 3 * 5 = 15
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/stats/work.h"

int main(void) {
    work(3);
    fflush(stdout);
    pid_t child = fork();
    if (child == 0) {
        work(5);
        return 0;
    }
    work(4);
    int status = 0;
    waitpid(child, &status, 0);
    printf("child %s\n", WIFEXITED(status) && WEXITSTATUS(status) == 0 ? "ok" : "failed");
    return 0;
}
