# Copies the shipped templates (not their sources or scripts) into a folder.
# cmake -DFROM=<examples/templates> -DTO=<share/ordolo/templates> -P CopyTemplates.cmake
file(GLOB templates "${FROM}/*.dotx" "${FROM}/*.dotm" "${FROM}/*.xltx" "${FROM}/*.dot" "${FROM}/*.xlt")
file(MAKE_DIRECTORY "${TO}")
foreach(t IN LISTS templates)
  file(COPY "${t}" DESTINATION "${TO}")
endforeach()
