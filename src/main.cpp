#include "shell/line_editor.h"
#include "shell/startup.h"

int main(int argc, char** argv) { return qvtx::run_program(argc, argv, qvtx::open_line_editor); }
