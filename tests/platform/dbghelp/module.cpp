// A module for the tests to load: with debug information inside or in a file of its own.
extern "C" __attribute__((visibility("default"))) int plinth_test_function(int x)
{
    return x + 1;
}

// Padding, so that the debug information has pages of its own, apart from the loaded ones.
__asm__(".pushsection .padding,\"\"; .zero 65536; .popsection");
