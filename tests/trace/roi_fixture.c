/* The region markers as an application writes them; the test reads back the words. */
#include <sve_roi.h>

extern void work(int);

void markers(void) {
    SVE_ROI_START(3);
    work(1);
    SVE_ROI_STOP(3);
    SVE_ROI_BEGIN();
    work(2);
    SVE_ROI_END();
    SVE_ROI_START(31);
    SVE_ROI_STOP(17);
}
