# plumber API of scripts/bench-http (server C): plus over HTTP, with the same request and answer
# as the connector: POST /v1/services/demo/plus {"args":[1,2],"nargout":1} -> {"results":[3]},
# the bearer token checked against KORVAN_BENCH_TOKEN. Calls run on R's one thread.
token <- paste("Bearer", Sys.getenv("KORVAN_BENCH_TOKEN"))

#* @post /v1/services/demo/plus
#* @serializer unboxedJSON
function(req, res) {
  if (!identical(req$HTTP_AUTHORIZATION, token)) {
    res$status <- 401
    return(list(error = "token"))
  }
  body <- jsonlite::fromJSON(req$postBody)
  list(results = I(body$args[[1]] + body$args[[2]]))
}
