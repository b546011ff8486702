-- Makes a tool's page in docs/ its manual page, so that the two cannot
-- drift: the title heading becomes NAME (with the summary given as
-- metadata) and DESCRIPTION, the sections below move up one level, and the
-- section about this project's own tests is left out.
local left_out = { ["Tests and the tour"] = true }

function Pandoc(doc)
  local blocks = pandoc.List()
  local skipping = false
  local summary = pandoc.utils.stringify(doc.meta.summary or "")
  for _, block in ipairs(doc.blocks) do
    if block.t == "Header" and block.level == 1 then
      local name = pandoc.utils.stringify(block)
      blocks:insert(pandoc.Header(1, "NAME"))
      blocks:insert(pandoc.Plain({ pandoc.RawInline("man", name .. " \\- " .. summary) }))
      blocks:insert(pandoc.Header(1, "DESCRIPTION"))
    elseif block.t == "Header" and block.level == 2 then
      skipping = left_out[pandoc.utils.stringify(block)] or false
      if not skipping then
        block.level = 1
        blocks:insert(block)
      end
    elseif not skipping then
      blocks:insert(block)
    end
  end
  return pandoc.Pandoc(blocks, doc.meta)
end
