/* A program as an application's build makes it: with start-up code, imports and debug sections. */
#include <stdio.h>

int main(void)
{
    puts("hello");
    return 0;
}
