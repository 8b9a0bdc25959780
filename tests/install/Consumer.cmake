# check_consumer(FOLDER): runs the programs of consumer/, built in FOLDER, and checks their output.

function(expect_output expected)
  run(${ARGN})
  if(NOT RUN_OUTPUT STREQUAL expected)
    message(FATAL_ERROR "${ARGN} printed:\n${RUN_OUTPUT}\nand not:\n${expected}")
  endif()
endfunction()

function(check_consumer folder)
  set(survey "${PROJECT_DIR}/examples/data/survey.tsv")
  expect_output("2 messages, 1 variable in the mirror, 2 shown of 3, 55 bytes\n" "${folder}/consumer")
  run("${folder}/weighted_means" "${survey}" popul)
  if(NOT RUN_OUTPUT MATCHES "\nage 44\\.5090\n")
    message(FATAL_ERROR "weighted_means printed:\n${RUN_OUTPUT}")
  endif()
  expect_output("inserted age\ninserted income\ncases are new\n\
modified years\ndeleted income\nlabel National survey\n" "${folder}/print_changes")
  expect_output("0       |\n" "${folder}/own_names" "${survey}")
  expect_output("pass 1: age\npass 2: age income\npass 3: age income vote\n"
                "${folder}/send_changes" COMMAND "${folder}/follow_changes")
endfunction()
