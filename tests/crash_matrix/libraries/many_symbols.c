// A library with two hundred thousand symbols before those of opened_library.c.
__asm__(
    ".altmacro\n"
    ".macro one_name number\n"
    ".globl NameOfNothing\\number\n"
    ".type NameOfNothing\\number, @function\n"
    "NameOfNothing\\number: nop\n"
    ".size NameOfNothing\\number, 1\n"
    ".endm\n"
    ".text\n"
    ".set counted, 0\n"
    ".rept 200000\n"
    "one_name %counted\n"
    ".set counted, counted + 1\n"
    ".endr\n"
    ".noaltmacro\n");
