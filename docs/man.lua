-- SPDX-License-Identifier: Apache-2.0
-- pandoc filter for the man page made from docs/diagpanel.md: a man page names itself and its
-- sections in capitals (DIAGPANEL, NAME, SYNOPSIS, ...), while the manual keeps its headings as
-- they read on the web.
local function upper(inlines)
  return pandoc.walk_inline(pandoc.Span(inlines), {
    Str = function(s) return pandoc.Str(s.text:upper()) end,
    Code = function(c) return pandoc.Str(c.text:upper()) end,
  }).content
end

function Header(h)
  if h.level == 1 then
    h.content = upper(h.content)
  end
  return h
end

function Meta(meta)
  if meta.title then
    meta.title = upper(meta.title)
  end
  return meta
end
