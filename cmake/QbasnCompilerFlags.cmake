# Compiler settings shared by every target of the qbasn tree.

# Flags of the sanitizer build (QBASN_SANITIZE=ON); used for compiling and
# linking, and handed to the install check so its consumer programs match.
set(QBASN_SANITIZE_FLAGS
  -fsanitize=address,undefined
  -fno-sanitize-recover=undefined
  -fno-omit-frame-pointer
)

# Flags of the ThreadSanitizer build (QBASN_TSAN=ON); used for compiling and
# linking every target. ThreadSanitizer cannot share a process with
# AddressSanitizer, so the two builds are separate.
set(QBASN_TSAN_FLAGS
  -fsanitize=thread
  -fno-omit-frame-pointer
)

# qbasn_target_warnings(<target>): high warnings on one target; -Werror only
# when QBASN_WERROR is on, so that newer compilers never break a user's build.
function(qbasn_target_warnings target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Wall -Wextra)
    if(QBASN_WERROR)
      target_compile_options(${target} PRIVATE -Werror)
      # g++ 12 at -O3 (Release) reports std::string and std::copy calls in
      # the tests as overlapping or overflowing copies (false positives of
      # its -Wrestrict and -Wstringop-overflow that later versions dropped);
      # there they stay warnings instead of failing the build.
      target_compile_options(${target} PRIVATE
        "$<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>,$<CONFIG:Release>>:-Wno-error=restrict;-Wno-error=stringop-overflow>")
    endif()
  elseif(MSVC)
    target_compile_options(${target} PRIVATE /W4)
    if(QBASN_WERROR)
      target_compile_options(${target} PRIVATE /WX)
    endif()
  endif()
endfunction()
