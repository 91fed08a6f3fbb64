# The public headers, by the folder they are installed in below include/orv/. In the build the same
# tree is made of links, so that "#include <orv/...>" is right in the sources, in the examples and
# in a host alike.

set(orv_headers
  bigint/ubigint.hpp
  buffers/bin.hpp
  buffers/block.hpp
  buffers/export.h
  buffers/str.hpp
  buffers/stream.hpp
  http/http.hpp
  runtime/critical.hpp
  runtime/identity.h
  runtime/pause.hpp
  runtime/text.h
  runtime/thread.hpp
  runtime/trace.h
  store/aes.hpp
  store/kernel.hpp
  store/sconfig.hpp
  store/xfile.hpp
  xml/buffer.hpp
  xml/item.hpp
  xml/list.hpp
  xml/root.hpp
)
set(orv_top_headers # these go to include/orv/ itself
  api/orv.h
  api/orv.hpp
)

set(orv_include_dir ${PROJECT_BINARY_DIR}/include)
file(MAKE_DIRECTORY ${orv_include_dir}/orv)
foreach(folder buffers xml bigint runtime http store)
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${orv_include_dir}/orv/${folder} SYMBOLIC)
endforeach()
foreach(header ${orv_top_headers})
  get_filename_component(name ${header} NAME)
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${header} ${orv_include_dir}/orv/${name} SYMBOLIC)
endforeach()
