# quorline_idl(<name>) compiles <name>.idl with widl and defines two libraries:
#   <name>Idl        the generated header <name>.h and the identifiers; its property TYPE_LIBRARY is the type library
#   <name>Proxies    the proxies and stubs, their entry points prefixed Prx (PrxDllMain, PrxDllGetClassObject, ...)
# quorline_resources(<target> <file.rc> <name>) adds a resource script that embeds <name>.tlb and may include
# QuorlineVersion.h.

find_program(WIDL NAMES x86_64-w64-mingw32-widl REQUIRED)
find_path(WINE_IDL_DIR oaidl.idl PATHS /usr/include/wine/wine/windows /usr/include/wine/windows REQUIRED NO_CMAKE_FIND_ROOT_PATH)
find_path(WINE_TLB_DIR stdole2.tlb PATHS /usr/lib/x86_64-linux-gnu/wine/x86_64-windows REQUIRED NO_CMAKE_FIND_ROOT_PATH)

function(quorline_idl name)
    set(dir ${CMAKE_CURRENT_BINARY_DIR}/${name})
    file(MAKE_DIRECTORY ${dir})
    set(idl ${CMAKE_CURRENT_SOURCE_DIR}/${name}.idl)
    set(widl ${WIDL} -Oif --win64 -I ${WINE_IDL_DIR} -L ${WINE_TLB_DIR})
    add_custom_command(
        OUTPUT ${dir}/${name}.h ${dir}/${name}_i.c ${dir}/${name}_p.c ${dir}/${name}.dlldata.c ${dir}/${name}.tlb
        COMMAND ${widl} -h -H ${name}.h -u -U ${name}_i.c -p -P ${name}_p.c -t -T ${name}.tlb ${idl}
        COMMAND ${CMAKE_COMMAND} -E rm -f ${name}.dlldata.c
        COMMAND ${widl} --dlldata-only --dlldata=${name}.dlldata.c ${name}
        WORKING_DIRECTORY ${dir}
        DEPENDS ${idl}
        COMMENT "Compiling ${name}.idl"
        VERBATIM)

    add_library(${name}Idl STATIC ${dir}/${name}_i.c ${dir}/${name}.h ${dir}/${name}.tlb)
    set_target_properties(${name}Idl PROPERTIES TYPE_LIBRARY ${dir}/${name}.tlb PUBLIC_HEADER ${dir}/${name}.h)
    target_include_directories(${name}Idl SYSTEM PUBLIC $<BUILD_INTERFACE:${dir}>)
    target_compile_options(${name}Idl PRIVATE -w)

    add_library(${name}Proxies OBJECT ${dir}/${name}_p.c ${dir}/${name}.dlldata.c)
    add_dependencies(${name}Proxies ${name}Idl)
    # The delegating factory reaches IUnknown's proxies by names that MinGW's headers leave out.
    file(WRITE ${dir}/proxy-prelude.h
        "#include <rpcproxy.h>\n"
        "HRESULT STDMETHODCALLTYPE IUnknown_QueryInterface_Proxy(IUnknown*, REFIID, void**);\n"
        "ULONG STDMETHODCALLTYPE IUnknown_AddRef_Proxy(IUnknown*);\n"
        "ULONG STDMETHODCALLTYPE IUnknown_Release_Proxy(IUnknown*);\n")
    # The generated code asks for stubless proxies too late for a header that came first.
    target_compile_definitions(${name}Proxies PRIVATE REGISTER_PROXY_DLL PROXY_DELEGATION ENTRY_PREFIX=Prx
                               USE_STUBLESS_PROXY=)
    target_compile_options(${name}Proxies PRIVATE -w -include ${dir}/proxy-prelude.h)
endfunction()

# The compiler of resources names no dependencies itself: what stands beside the script and may be embedded counts.
function(quorline_resources target script name)
    get_target_property(type_library ${name}Idl TYPE_LIBRARY)
    get_filename_component(folder ${script} DIRECTORY)
    file(GLOB embedded CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.rgs
         ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*[Rr]esource.h)
    set_source_files_properties(${script} PROPERTIES OBJECT_DEPENDS "${type_library};${embedded}")
    target_sources(${target} PRIVATE ${script})
    target_link_libraries(${target} PRIVATE ${name}Idl QuorlineVersion)
endfunction()
