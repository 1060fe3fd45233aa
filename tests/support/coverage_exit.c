/* Linked into programs whose coverage is measured, in place of _Exit (--wrap): the program ends by it, and what gcov has
   counted would be lost. */
extern void __gcov_dump(void);
extern void __real__Exit(int) __attribute__((noreturn));
void __wrap__Exit(int code) __attribute__((noreturn));

void __wrap__Exit(int code) {
    __gcov_dump();
    __real__Exit(code);
}
