/* A C host: the C interfaces compile as C and link. */
#include <tlvutl/frame.h>

#include <stdio.h>

int main(void) {
    GUID a = {0, 0, 0, {0}}, b;
    if (InitModule() != 1)
        return 1;
    printf("lookup of the null GUID: %d\n", UTLMapEng2AppGUID(&a, &b));
    return 0;
}
