// A double-precision Jacobi relaxation on a 66 x 66 grid (64 x 64 interior, rows of 64 are
// 6.4 vectors: every row ends with a partial one), and a residual reduction.
#include <math.h>
#include <stdio.h>

#define N 66
#define STEPS 12

static double grid[2][N][N];

__attribute__((noinline)) void relax(double (*restrict out)[N], double (*restrict in)[N]) {
    for (int i = 1; i < N - 1; i++)
        for (int j = 1; j < N - 1; j++)
            out[i][j] = 0.25 * (in[i - 1][j] + in[i + 1][j] + in[i][j - 1] + in[i][j + 1]);
}

__attribute__((noinline)) double residual(double (*a)[N], double (*b)[N]) {
    double r = 0;
    for (int i = 1; i < N - 1; i++)
        for (int j = 1; j < N - 1; j++) r += fabs(a[i][j] - b[i][j]);
    return r;
}

int main(void) {
    for (int i = 0; i < N; i++) {
        grid[0][i][0] = grid[1][i][0] = 1.0;           // hot left edge
        grid[0][0][i] = grid[1][0][i] = (double)i / N;  // ramp on the top edge
    }
    int cur = 0;
    for (int s = 0; s < STEPS; s++) {
        relax(grid[1 - cur], grid[cur]);
        cur = 1 - cur;
        if (s % 4 == 3) printf("step %2d: residual %a\n", s + 1, residual(grid[cur], grid[1 - cur]));
    }
    printf("centre %a corner %a\n", grid[cur][N / 2][N / 2], grid[cur][1][1]);
    return 0;
}
