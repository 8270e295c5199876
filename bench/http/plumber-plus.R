# plumber API of scripts/bench-http (server C), with the same requests and answers as the
# connector, the bearer token checked against KORVAN_BENCH_TOKEN. Calls run on R's one thread.
#   POST /v1/services/demo/plus {"args":[1,2],"nargout":1} -> {"results":[3]}
#   POST /v1/services/cpu/burn {"args":[n],"nargout":1} -> {"results":[sum of i*i, i = 1..n]},
#     the same loop as bench/http/burn.k (i a double, as there)
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

#* @post /v1/services/cpu/burn
#* @serializer unboxedJSON
function(req, res) {
  if (!identical(req$HTTP_AUTHORIZATION, token)) {
    res$status <- 401
    return(list(error = "token"))
  }
  body <- jsonlite::fromJSON(req$postBody)
  s <- 0
  for (i in as.double(seq_len(body$args[[1]]))) {
    s <- s + i * i
  }
  list(results = I(s))
}
