// A module for the tests to load: with debug information, and with that in a file of its own.
extern "C" __attribute__((visibility("default"))) int plinth_test_function(int x)
{
    return x + 1;
}

// Room between what is loaded and the debug information, which then has pages of its own.
__asm__(".pushsection .padding,\"\"; .zero 65536; .popsection");
