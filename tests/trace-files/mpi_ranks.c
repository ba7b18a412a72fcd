// An MPI job whose ranks each trace a region of their own: rank r runs 10 * (r + 1) iterations
// of a whole-vector ld1w and st1w (two records each), then the ranks add up their copies.
// Under `mpirun -np N sve-run --trace rank%r.bin ./mpi_ranks`, rank r's file holds 20 * (r + 1)
// memory records between two markers.
#include <mpi.h>
#include <stdio.h>

#include "include/sve_roi.h"

static int src[64], dst[64];

int main(int argc, char** argv) {
    MPI_Init(&argc, &argv);
    int rank = 0, size = 1;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    MPI_Comm_size(MPI_COMM_WORLD, &size);
    for (int i = 0; i < 64; i++) src[i] = i + rank;
    long copied = 0;
    SVE_ROI_BEGIN();
    for (int i = 0; i < 10 * (rank + 1); i++) {
        __asm__ volatile("ptrue p0.s\n\tld1w {z0.s}, p0/z, [%0]\n\tst1w {z0.s}, p0, [%1]"
                         :
                         : "r"(src), "r"(dst)
                         : "z0", "p0", "memory");
        copied += dst[19];
    }
    SVE_ROI_END();
    long total = 0;
    MPI_Reduce(&copied, &total, 1, MPI_LONG, MPI_SUM, 0, MPI_COMM_WORLD);
    if (rank == 0) printf("%d ranks, total %ld\n", size, total);
    MPI_Finalize();
    return 0;
}
