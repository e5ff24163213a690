# Against what an attacker makes of a fault. Sanitizers bring checks of their own.
set(hardening)
set(hardened_link)
set(program_hardening)
if(NOT QV6D_SANITIZE AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
  include(CheckCompilerFlag)
  set(CMAKE_REQUIRED_FLAGS -Werror) # a flag of another processor may only draw a warning
  check_compiler_flag(CXX -fcf-protection=full QV6D_CF_PROTECTION)
  check_compiler_flag(CXX -mbranch-protection=standard QV6D_BRANCH_PROTECTION)
  check_compiler_flag(CXX -fstack-clash-protection QV6D_STACK_CLASH_PROTECTION)
  check_compiler_flag(CXX -ftrivial-auto-var-init=zero QV6D_AUTO_VAR_INIT)
  unset(CMAKE_REQUIRED_FLAGS)
  set(hardening
    -fstack-protector-strong
    $<$<BOOL:${QV6D_CF_PROTECTION}>:-fcf-protection=full>
    $<$<BOOL:${QV6D_BRANCH_PROTECTION}>:-mbranch-protection=standard>
    # Works in optimised code only. Some compilers define it unasked.
    $<$<NOT:$<CONFIG:Debug,O0>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug,O0>>:-D_FORTIFY_SOURCE=2>)
  set(hardened_link
    -Wl,-z,relro,-z,now # the table and what the loader resolved are read-only from then on
    -Wl,-z,noexecstack,-z,text)
  # A program has the time for more: the library's figures are those of docs/accuracy.md and of `bench`.
  set(program_hardening ${hardening}
    -D_GLIBCXX_ASSERTIONS # an index outside a container ends the program
    $<$<BOOL:${QV6D_STACK_CLASH_PROTECTION}>:-fstack-clash-protection>
    $<$<BOOL:${QV6D_AUTO_VAR_INIT}>:-ftrivial-auto-var-init=zero>)
endif()

# Programs that are installed, and the libraries that they alone are made of.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
function(harden_programs)
  foreach(target ${ARGN})
    target_compile_options(${target} PRIVATE ${program_hardening})
    target_link_options(${target} PRIVATE ${hardened_link})
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  endforeach()
endfunction()
